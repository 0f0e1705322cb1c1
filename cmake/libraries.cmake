# SPDX-License-Identifier: MIT

# The libraries around the driver: {fmt}, CLI11, nlohmann-json and toml++, headers all but the
# compiled part of {fmt}. A cross build does without that part, and takes Debian's headers as they
# are through a folder that holds nothing but links to them.
add_library(ds3000_libraries INTERFACE)
if(CMAKE_CROSSCOMPILING)
  set(header_only ${PROJECT_BINARY_DIR}/header-only)
  file(MAKE_DIRECTORY ${header_only})
  foreach(package fmt CLI nlohmann toml++)
    file(CREATE_LINK /usr/include/${package} ${header_only}/${package} SYMBOLIC)
  endforeach()
  target_include_directories(ds3000_libraries SYSTEM INTERFACE ${header_only})
  target_compile_definitions(ds3000_libraries INTERFACE FMT_HEADER_ONLY)
else()
  find_package(fmt REQUIRED)
  target_link_libraries(ds3000_libraries INTERFACE fmt::fmt)
endif()

# What links them is the world around the driver, with the same readings on every target: no fused
# multiply-add, no wider intermediate results.
target_compile_options(ds3000_libraries INTERFACE -ffp-contract=off)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^i.86$")
  target_compile_options(ds3000_libraries INTERFACE -msse2 -mfpmath=sse)
endif()

# Counters of 64 bits are calls into the compiler's library where a processor cannot access them at
# once.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("
  #include <atomic>
  #include <cstdint>
  int main() { std::atomic<std::uint64_t> count{0}; ++count; return static_cast<int>(count.load()); }"
  DS3000_INLINE_ATOMICS)
if(NOT DS3000_INLINE_ATOMICS)
  target_link_libraries(ds3000_libraries INTERFACE atomic)
endif()

# GoogleTest: Debian's library, or its source for a target that Debian has no library for.
macro(ds3000_find_gtest)
  if(CMAKE_CROSSCOMPILING)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  else()
    find_package(GTest REQUIRED)
  endif()
  include(GoogleTest)
endmacro()

# Set a variable to the path of something that runs a program of this build, for tests that start it
# themselves: the program, or a script that hands it to the emulator.
function(ds3000_runnable target variable)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
    return()
  endif()
  set(script ${CMAKE_CURRENT_BINARY_DIR}/emulated/${target})
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  file(GENERATE OUTPUT ${script}
    CONTENT "#!/bin/sh\nexec ${emulator} '$<TARGET_FILE:${target}>' \"$@\"\n"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  set(${variable} ${script} PARENT_SCOPE)
endfunction()
