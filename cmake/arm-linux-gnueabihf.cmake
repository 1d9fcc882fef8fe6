# Cross build for the router: Debian's hard-float ARM compiler with its C and C++ libraries, and a private sysroot with
# jsoncpp and GoogleTest. scripts/arm-sysroot fills it; nothing of it enters this machine's own package database.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# No notes that a calling convention changed in GCC 7: nothing here links objects that are older.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

get_filename_component(arm_sysroot ${CMAKE_CURRENT_LIST_DIR}/../build/arm-sysroot ABSOLUTE)
if(NOT EXISTS ${arm_sysroot}/.packages)
  message(FATAL_ERROR "${arm_sysroot} is not there yet: run scripts/arm-sysroot first")
endif()

# Programs are this machine's; headers, libraries and packages are never looked for outside the sysroot.
set(CMAKE_FIND_ROOT_PATH ${arm_sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${arm_sysroot})
set(ENV{PKG_CONFIG_LIBDIR} ${arm_sysroot}/usr/lib/arm-linux-gnueabihf/pkgconfig)

# The emulator takes the C and C++ libraries from the cross compiler; the run path leads to those of the sysroot.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
