# SPDX-License-Identifier: MIT
# What Debian's cross compilers have in common, for the toolchain files beside this one. They set
#   preset       the name of the preset, whose folder may hold libraries of the target
#   triplet      the target as its compiler's name has it
#   multiarch    the target as Debian's library folders have it
#   processor    CMAKE_SYSTEM_PROCESSOR
#   emulator     what runs the target's programs here; empty where the kernel does
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${processor})
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator})

# scripts/common.sh unpacks Debian's libraries for the target there. Programs find those that a
# library needs in turn the same way at link and at run time.
cmake_path(SET DS3000_SYSROOT NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/${preset}/sysroot")
set(CMAKE_LIBRARY_ARCHITECTURE ${multiarch})
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-Wl,--disable-new-dtags,-rpath-link,${DS3000_SYSROOT}/usr/lib/${multiarch}")
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${DS3000_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${DS3000_SYSROOT}/usr/lib/${multiarch}/pkgconfig)

set(CMAKE_FIND_ROOT_PATH /usr/${triplet} ${DS3000_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
