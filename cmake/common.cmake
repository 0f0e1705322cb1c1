# SPDX-License-Identifier: MIT

find_package(Threads REQUIRED)

# CMake's own default. The driver chooses its optimisation itself; the world around it is built far
# more often than it is waited for.
if(CMAKE_CXX_FLAGS_RELEASE STREQUAL "-O3 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELEASE "-O1 -DNDEBUG")
endif()

option(DS3000_WERROR "Take the compiler's warnings for errors" OFF)
option(DS3000_BATCHES "Compile the host program and the simulator several sources at a time" ON)

option(DS3000_STATIC_PROGRAM "Link ds3000-ctl into one static file, with the plug-in in it" OFF)
if(DS3000_STATIC_PROGRAM)
  # Nothing can be put in front of functions that are linked in.
  set(DS3000_WRAPPED_TIME ON)
  # As small as it can be: a third of its code goes with -Os, and a program at a fixed address is
  # smaller, most of all on MIPS.
  set(CMAKE_CXX_FLAGS_RELEASE "-Os -DNDEBUG")
  set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
  add_compile_options(-fno-pie -ffunction-sections -fdata-sections)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^mips")
    add_compile_options(-mplt)
  endif()
  set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
endif()

# Flags of everything that is ours.
add_library(ds3000_common INTERFACE)
target_compile_options(ds3000_common INTERFACE
  -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${DS3000_WERROR}>:-Werror>
  # The sorting of the C++ library calls what it calls deprecated, and clang 19 says so.
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-error=deprecated-declarations>
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}/=
  # A tenth of its time g++ looks for memory that it could use again; a fifth more memory saves that.
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:--param=ggc-min-expand=1000>)
target_include_directories(ds3000_common INTERFACE ${PROJECT_SOURCE_DIR})
# POSIX functions under strict -std=c++20 and -std=c11.
target_compile_definitions(ds3000_common INTERFACE _DEFAULT_SOURCE)
target_link_libraries(ds3000_common INTERFACE Threads::Threads)

# Before release 2.17 of the GNU C library the clocks were in a library of their own.
include(CheckFunctionExists)
check_function_exists(clock_gettime DS3000_CLOCK_IN_LIBC)
if(NOT DS3000_CLOCK_IN_LIBC)
  target_link_libraries(ds3000_common INTERFACE rt)
endif()

# Calls that a sanitizer build redirects to the time seam.
add_library(ds3000_time_calls INTERFACE)
if(DS3000_WRAPPED_TIME)
  foreach(function usleep clock_gettime pthread_create pthread_join pthread_mutex_lock
      pthread_mutex_unlock)
    target_link_options(ds3000_time_calls INTERFACE -Wl,--wrap=${function})
  endforeach()
endif()
