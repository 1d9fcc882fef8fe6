# How every target of the project is made. Included once, from the root.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# Programs land beside each other, where README and the scripts say they are: build/<preset>/zelt-stats.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

# Warnings, sanitizers and the include root: "platform/sysdb.h" is written the same everywhere.
option(ZELT_WERROR "Warnings are errors" ON)
add_library(zelt_flags INTERFACE)
target_include_directories(zelt_flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(zelt_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${ZELT_WERROR}>:-Werror>)
if(ZELT_SANITIZE)
  target_compile_options(zelt_flags INTERFACE -fsanitize=${ZELT_SANITIZE} -fno-sanitize-recover=all
                                              -fno-omit-frame-pointer)
  target_link_options(zelt_flags INTERFACE -fsanitize=${ZELT_SANITIZE})
endif()

# What a router holds is made small: for size, and the daemon without what nothing calls. A third less than with -O2.
add_library(zelt_small INTERFACE)
target_compile_options(zelt_small INTERFACE "$<$<NOT:$<CONFIG:Debug>>:-Os;-ffunction-sections;-fdata-sections>")

# What is installed belongs to one of three components: daemon (with sysdb and zelt-top), sim, dev.
include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME daemon)
set(ZELT_DATA_DIR ${CMAKE_INSTALL_DATADIR}/zelt-stats)

find_package(PkgConfig REQUIRED)
pkg_check_modules(jsoncpp REQUIRED IMPORTED_TARGET jsoncpp)

# The daemon but for its process entry. Each folder adds its own sources with target_sources().
add_library(zelt_core STATIC)
target_link_libraries(zelt_core PUBLIC zelt_flags PkgConfig::jsoncpp PRIVATE zelt_small)
if(ZELT_COVERAGE)
  target_compile_options(zelt_core PRIVATE --coverage)
  target_link_options(zelt_core PUBLIC --coverage)
endif()

# The one version number of all programs is that of project(): ZELT_VERSION in what tells it.
function(zelt_tell_version TARGET)
  target_compile_definitions(${TARGET} PRIVATE ZELT_VERSION="${PROJECT_VERSION}")
endfunction()

# The sources of tests are compiled for the shortest build: half of all compile time is theirs, and most of that the
# headers of GoogleTest. What they test is compiled as it ships. The linter reads each source without the precompiled
# headers, and finds a missing include.
add_library(zelt_test_flags INTERFACE)
target_compile_options(zelt_test_flags INTERFACE $<$<CONFIG:RelWithDebInfo>:-O0 -g0>)
if(ZELT_SANITIZE)
  target_compile_options(zelt_test_flags INTERFACE -g1)  # the lines of a trace
endif()
function(zelt_compile_as_test TARGET)
  target_link_libraries(${TARGET} PRIVATE zelt_test_flags)
  target_precompile_headers(${TARGET} REUSE_FROM zelt_test_headers)
endfunction()

# zelt_add_test(NAME x SOURCES a.cpp ... LIBRARIES l ... [LABELS ...]): a GoogleTest program. Each case is a ctest entry
# with a process of its own, so `ctest -R` finds it and nothing of another case can help or hinder it.
function(zelt_add_test)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "NAME" "SOURCES;LIBRARIES;LABELS")
  add_executable(${ARG_NAME} ${ARG_SOURCES})
  target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBRARIES} GTest::gmock GTest::gtest_main)
  zelt_compile_as_test(${ARG_NAME})
  set_target_properties(${ARG_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  gtest_discover_tests(${ARG_NAME} TEST_PREFIX ${ARG_NAME}. DISCOVERY_MODE PRE_TEST
                       PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 120)
endfunction()
if(ZELT_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
  file(WRITE ${PROJECT_BINARY_DIR}/zelt_test_headers.cpp "")
  add_library(zelt_test_headers OBJECT ${PROJECT_BINARY_DIR}/zelt_test_headers.cpp)
  target_link_libraries(zelt_test_headers PRIVATE zelt_flags zelt_test_flags GTest::gmock)
  target_precompile_headers(zelt_test_headers PRIVATE <gmock/gmock.h> <algorithm> <filesystem> <fstream> <functional>
                            <map> <sstream> <string> <thread> <vector>)
endif()

# zelt_add_unit_test(NAME SOURCES...): zelt_core on the fake platform. The daemon's state begins anew in each case, as it
# does when the daemon starts.
function(zelt_add_unit_test NAME)
  zelt_add_test(NAME ${NAME} SOURCES ${ARGN} LIBRARIES zelt_core fake_platform LABELS unit)
endfunction()

# The shipped binary: the process entry, the core, and one implementation of platform/.
function(zelt_add_daemon)
  add_executable(zelt-stats ${PROJECT_SOURCE_DIR}/daemon/main.cpp)
  zelt_tell_version(zelt-stats)
  target_link_options(zelt-stats PRIVATE LINKER:--gc-sections)
  if(ZELT_PLATFORM STREQUAL "device")
    target_link_libraries(zelt-stats PRIVATE zelt_core ${ZELT_DEVICE_LIBRARIES})
  else()
    target_link_libraries(zelt-stats PRIVATE zelt_core zelt_host)
  endif()
  install(TARGETS zelt-stats DESTINATION ${CMAKE_INSTALL_SBINDIR})
endfunction()

function(zelt_require_device_libraries)
  if(NOT ZELT_DEVICE_LIBRARIES)
    message(FATAL_ERROR "ZELT_PLATFORM=device needs the device's libraries: "
                        "-DZELT_DEVICE_LIBRARIES='/path/liba.so;/path/libb.so'")
  endif()
endfunction()
