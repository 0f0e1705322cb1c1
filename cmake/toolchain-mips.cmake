# SPDX-License-Identifier: MIT
# Big-endian MIPS32: the target whose words begin with their high byte.
set(preset mips)
set(triplet mips-linux-gnu)
set(multiarch mips-linux-gnu)
set(processor mips)
set(emulator qemu-mips -L /usr/mips-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)
