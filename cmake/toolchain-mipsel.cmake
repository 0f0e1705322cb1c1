# SPDX-License-Identifier: MIT
# Little-endian MIPS32.
set(preset mipsel)
set(triplet mipsel-linux-gnu)
set(multiarch mipsel-linux-gnu)
set(processor mipsel)
set(emulator qemu-mipsel -L /usr/mipsel-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)
