# SPDX-License-Identifier: Apache-2.0
# Cross build for the board: 32-bit ARM Linux, hard-float EABI, with Debian's
# arm-linux-gnueabihf toolchain. Programs built here (the tests, the
# simulator) run on the build machine under qemu-arm, which finds the
# target's loader and libraries under the cross sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(OVT_TARGET_TRIPLE arm-linux-gnueabihf)
set(OVT_TARGET_SYSROOT /usr/${OVT_TARGET_TRIPLE})

set(CMAKE_C_COMPILER ${OVT_TARGET_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${OVT_TARGET_TRIPLE}-g++)

# Libraries and headers come from the target's sysroot only; build tools
# (nm, readelf, qemu) from the build machine.
set(CMAKE_FIND_ROOT_PATH ${OVT_TARGET_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${OVT_TARGET_SYSROOT})
