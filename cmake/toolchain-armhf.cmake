# SPDX-License-Identifier: MIT
# 32-bit ARM with a floating-point unit, in Thumb-2 code.
set(preset armhf)
set(triplet arm-linux-gnueabihf)
set(multiarch arm-linux-gnueabihf)
set(processor armv7l)
set(emulator qemu-arm -L /usr/arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)

# No object of a g++ older than 7.1 is linked here, whose calls differed.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
