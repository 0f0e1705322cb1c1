# SPDX-License-Identifier: MIT
# A receiver's own C library. docs/targets.md shows how to use it.
#   DS3000_SYSROOT           the folder with the receiver's lib/, usr/lib/ and usr/include/
#   DS3000_COMPILER_PREFIX   what stands before gcc and g++, such as /opt/box/bin/mipsel-linux-
#   DS3000_PROCESSOR         CMAKE_SYSTEM_PROCESSOR; default: how the prefix begins
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DS3000_SYSROOT DS3000_COMPILER_PREFIX DS3000_PROCESSOR)
foreach(variable DS3000_SYSROOT DS3000_COMPILER_PREFIX)
  if(NOT ${variable})
    message(FATAL_ERROR "toolchain-sysroot.cmake: ${variable} is not set")
  endif()
endforeach()
# The compiler is tried in other folders than this one.
if(NOT IS_ABSOLUTE "${DS3000_SYSROOT}")
  message(FATAL_ERROR "DS3000_SYSROOT: ${DS3000_SYSROOT} is not an absolute path")
endif()
if(NOT EXISTS "${DS3000_SYSROOT}/usr/include/stdio.h")
  message(FATAL_ERROR "DS3000_SYSROOT: ${DS3000_SYSROOT}/usr/include/stdio.h does not exist")
endif()
if(NOT DS3000_PROCESSOR)
  get_filename_component(DS3000_PROCESSOR "${DS3000_COMPILER_PREFIX}" NAME)
  string(REGEX REPLACE "-.*" "" DS3000_PROCESSOR "${DS3000_PROCESSOR}")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${DS3000_PROCESSOR})
set(CMAKE_C_COMPILER ${DS3000_COMPILER_PREFIX}gcc)
set(CMAKE_CXX_COMPILER ${DS3000_COMPILER_PREFIX}g++)
set(CMAKE_SYSROOT ${DS3000_SYSROOT})
# The libraries that pkg-config knows of this machine are not the receiver's.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${DS3000_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${DS3000_SYSROOT}/usr/lib/pkgconfig:${DS3000_SYSROOT}/usr/share/pkgconfig)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Loaders older than release 2.5 of the GNU C library know this table of symbols alone.
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-Wl,--hash-style=sysv")

# What the compiler prints when asked.
function(ask_compiler variable)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} ${ARGN} RESULT_VARIABLE result
    OUTPUT_VARIABLE answer ERROR_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} ${ARGN}: ${result} ${answer}")
  endif()
  set(${variable} "${answer}" PARENT_SCOPE)
endfunction()

# Debian's cross compilers look for the C library among their own files before the sysroot's. They
# are told each folder: their own headers, then the sysroot's and nothing else; the sysroot's
# libraries first.
ask_compiler(libc --sysroot=${DS3000_SYSROOT} -print-file-name=libc.so)
cmake_path(IS_PREFIX DS3000_SYSROOT "${libc}" NORMALIZE libc_is_the_receivers)
if(NOT libc_is_the_receivers)
  ask_compiler(multiarch -print-multiarch)
  ask_compiler(own_headers -print-file-name=include)
  ask_compiler(report -x c++ -E -v /dev/null)
  string(REGEX MATCHALL "\n [^\n]*/c\\+\\+/[^\n]*" cxx_headers "${report}")
  list(TRANSFORM cxx_headers STRIP)

  set(headers ${own_headers})
  set(libraries "")
  foreach(folder ${DS3000_SYSROOT}/usr/include/${multiarch} ${DS3000_SYSROOT}/usr/include)
    if(IS_DIRECTORY ${folder})
      list(APPEND headers ${folder})
    endif()
  endforeach()
  foreach(folder usr/lib/${multiarch} lib/${multiarch} usr/lib lib)
    if(IS_DIRECTORY ${DS3000_SYSROOT}/${folder})
      list(APPEND libraries -B${DS3000_SYSROOT}/${folder} -L${DS3000_SYSROOT}/${folder})
    endif()
  endforeach()
  list(JOIN headers " -isystem " c_headers)
  list(JOIN cxx_headers " -isystem " cxx_headers)
  list(JOIN libraries " " libraries)
  set(CMAKE_C_FLAGS_INIT "-nostdinc -isystem ${c_headers}")
  set(CMAKE_CXX_FLAGS_INIT "-nostdinc -nostdinc++ -isystem ${cxx_headers} -isystem ${c_headers}")
  # musl, say.
  file(STRINGS ${DS3000_SYSROOT}/usr/include/features.h release REGEX "__GLIBC_PREREQ")
  if(NOT release)
    string(APPEND CMAKE_CXX_FLAGS_INIT " -include ${CMAKE_CURRENT_LIST_DIR}/no_glibc.h")
  endif()
  foreach(kind EXE MODULE SHARED)
    string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT " ${libraries}")
  endforeach()
endif()
