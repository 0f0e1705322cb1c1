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

# GoogleTest: Debian's library, or its source for a target that Debian has no library for.
macro(ds3000_find_gtest)
  if(CMAKE_CROSSCOMPILING)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    include(GoogleTest)
  else()
    find_package(GTest REQUIRED)
    include(GoogleTest)
  endif()
endmacro()
