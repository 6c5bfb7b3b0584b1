# SPDX-License-Identifier: Apache-2.0
# Toolchain of the boards: 32-bit ARM, soft-float calls. `./dev armel` makes the sysroot (headers and libraries to build
# with) and the runtime (the shared libraries that programs load under emulation). They are separate because the
# emulator looks up every path there first: a whole sysroot would hide the private root's directories.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabi)

set(VEXORA_ARMEL_DIR "${CMAKE_CURRENT_LIST_DIR}/../.cache/armel" CACHE PATH "Directory of the sysroot and the runtime")
get_filename_component(armel_dir "${VEXORA_ARMEL_DIR}" ABSOLUTE)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEXORA_ARMEL_DIR)

set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
# Suppresses gcc's notes about the C++ ABI change in GCC 7.1.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_SYSROOT "${armel_dir}/sysroot")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L "${armel_dir}/runtime")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
