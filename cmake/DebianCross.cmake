# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

# Toolchain for the sysroot that scripts/lib/make-sysroot unpacks; BRINDLECAST_CROSS_ARCH says which: armhf or arm64.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES BRINDLECAST_CROSS_ARCH)
if(BRINDLECAST_CROSS_ARCH STREQUAL "armhf")
    set(CMAKE_SYSTEM_PROCESSOR armv7l)
    set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
    set(emulator qemu-arm-static)
elseif(BRINDLECAST_CROSS_ARCH STREQUAL "arm64")
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
    set(emulator qemu-aarch64-static)
else()
    message(FATAL_ERROR "BRINDLECAST_CROSS_ARCH must be armhf or arm64: '${BRINDLECAST_CROSS_ARCH}'")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)
# REALPATH because Qt's CMake files are not found through a path with "..".
get_filename_component(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/${BRINDLECAST_CROSS_ARCH} REALPATH)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Debian's place for libraries, which GNUInstallDirs gives only to native builds.
set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE STRING "")
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator};-L;${CMAKE_SYSROOT})
