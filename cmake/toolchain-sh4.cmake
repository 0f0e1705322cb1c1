# SPDX-License-Identifier: MIT
# SH4, which is built but not run: its emulator crashes.
set(preset sh4)
set(triplet sh4-linux-gnu)
set(multiarch sh4-linux-gnu)
set(processor sh4)
set(emulator "")
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)

# The linker would keep the segments 64 KiB apart; these receivers have pages of 4 KiB.
foreach(kind EXE MODULE SHARED)
  string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT " -Wl,-z,max-page-size=4096")
endforeach()
