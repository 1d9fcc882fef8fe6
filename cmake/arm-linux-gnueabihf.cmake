# Cross build for the router: Debian's hard-float ARM compiler, and a private sysroot with the libraries that
# zelt_core needs. scripts/arm-sysroot fills it; nothing of it enters this machine's own package database.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

get_filename_component(ZELT_ARM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/arm-sysroot ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${ZELT_ARM_SYSROOT}/usr ${ZELT_ARM_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${ZELT_ARM_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${ZELT_ARM_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${ZELT_ARM_SYSROOT}/usr/share/pkgconfig)

# -L finds the compiler's own libraries first, then the sysroot's; the run path below serves the emulator.
set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-arm -L /usr/arm-linux-gnueabihf -E LD_LIBRARY_PATH=${ZELT_ARM_SYSROOT}/usr/lib/arm-linux-gnueabihf)
