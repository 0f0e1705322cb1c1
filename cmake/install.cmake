# SPDX-License-Identifier: MIT

# What is installed, in four components: the plug-in for a receiver, the chip layer's shared library,
# what a developer builds with, and the program.
include(CMakePackageConfigHelpers)

install(TARGETS ds3000_plugin
  LIBRARY DESTINATION ${DS3000_PLUGIN_INSTALL_DIR} COMPONENT plugin)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/README.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT plugin)
# Said once more where the plug-in leaves the build: of a recipe nobody reads what the configure step says.
foreach(letter A B)
  if(DS3000_FIRMWARE_${letter} STREQUAL "")
    install(CODE "message(\"ds3000: firmware ${letter} of this plug-in is a placeholder that no chip runs\")"
      COMPONENT plugin)
  endif()
endforeach()

if(DS3000_SHARED_LIBRARY)
  install(TARGETS ds3000_shared EXPORT ds3000Targets
    LIBRARY COMPONENT library NAMELINK_COMPONENT development)
endif()

install(TARGETS ds3000 ds3000_headers ds3000_plugin_api EXPORT ds3000Targets
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(header IN LISTS ds3000_public_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder} COMPONENT development)
endforeach()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ds3000)
configure_package_config_file(cmake/ds3000Config.cmake.in ${PROJECT_BINARY_DIR}/ds3000Config.cmake
  INSTALL_DESTINATION ${package_folder} PATH_VARS DS3000_PLUGIN_INSTALL_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ds3000ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(EXPORT ds3000Targets NAMESPACE ds3000::
  DESTINATION ${package_folder} COMPONENT development)
install(FILES
  ${PROJECT_BINARY_DIR}/ds3000Config.cmake ${PROJECT_BINARY_DIR}/ds3000ConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)

# pkg-config finds the prefix from the file's own place.
file(RELATIVE_PATH DS3000_PREFIX_FROM_PC
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" DS3000_PREFIX_FROM_PC "${DS3000_PREFIX_FROM_PC}")
configure_file(cmake/ds3000.pc.in ${PROJECT_BINARY_DIR}/ds3000.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ds3000.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
  PATTERN CMakeLists.txt EXCLUDE PATTERN *.cmake EXCLUDE)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT development
  PATTERN schemas EXCLUDE PATTERN symptoms EXCLUDE)

if(DS3000_BUILD_WORLD)
  include(cmake/install-tool.cmake)
endif()

# The prefix may be named as late as at the install.
install(CODE "file(WRITE \"${PROJECT_BINARY_DIR}/install_prefix.txt\" \"\${CMAKE_INSTALL_PREFIX}\")"
  ALL_COMPONENTS)
configure_file(cmake/uninstall.cmake.in ${PROJECT_BINARY_DIR}/uninstall.cmake @ONLY)
add_custom_target(uninstall
  ${CMAKE_COMMAND} -P ${PROJECT_BINARY_DIR}/uninstall.cmake
  COMMENT "Removing what the last install put down" VERBATIM)

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/packages.cmake)
endif()
