# SPDX-License-Identifier: MIT

# The libraries around the driver: {fmt}, CLI11, nlohmann-json and toml++. The first is used without
# its compiled part and the others have none, so a cross build can take Debian's headers as they are
# through a folder that holds nothing but links to them.
if(CMAKE_CROSSCOMPILING)
  set(header_only ${PROJECT_BINARY_DIR}/header-only)
  file(MAKE_DIRECTORY ${header_only})
  foreach(package fmt CLI nlohmann toml++)
    file(CREATE_LINK /usr/include/${package} ${header_only}/${package} SYMBOLIC)
  endforeach()
endif()

add_library(ds3000_libraries INTERFACE)
target_compile_definitions(ds3000_libraries INTERFACE FMT_HEADER_ONLY)
if(CMAKE_CROSSCOMPILING)
  target_include_directories(ds3000_libraries SYSTEM INTERFACE ${header_only})
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
