# SPDX-License-Identifier: MIT
# 32-bit x86. The kernel runs its programs; no emulator here runs their threads.
set(preset i386)
set(triplet i686-linux-gnu)
set(multiarch i386-linux-gnu)
set(processor i686)
set(emulator "")
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)
