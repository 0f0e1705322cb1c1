# SPDX-License-Identifier: MIT
# 64-bit ARM.
set(preset aarch64)
set(triplet aarch64-linux-gnu)
set(multiarch aarch64-linux-gnu)
set(processor aarch64)
set(emulator qemu-aarch64 -L /usr/aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)
