# SPDX-License-Identifier: MIT

# The Debian packages that cpack makes, one of each component that is installed. What it takes beyond
# the components is in cmake/debian/; scripts/package calls it.
# Below what Debian would give.
set(DS3000_PACKAGE_REVISION 0local1 CACHE STRING "What follows the version in the packages' own")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SOURCE ds3000)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION}-${DS3000_PACKAGE_REVISION})
set(CPACK_PACKAGE_CONTACT "The ds3000 driver's authors <ds3000@example.org>")

set(debian_folder ${PROJECT_SOURCE_DIR}/cmake/debian)
set(firmware_words "")
foreach(letter A B)
  if(DS3000_FIRMWARE_${letter} STREQUAL "")
    set(firmware_words "
.
Instead of the demodulator's firmware this build embeds a placeholder, which
serves the simulated receiver only.")
  endif()
endforeach()

# ds3000_package(COMPONENT NAME SECTION DESCRIPTION): the package of a component. The description's
# first line is its title.
macro(ds3000_package component name section description)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}${firmware_words}")
endmacro()

set(CPACK_COMPONENTS_ALL "")
ds3000_package(plugin ds3000-plugin video
  "DVB-S and DVB-S2 front-end driver, plug-in for receivers
The driver of receivers with a DS3000-family demodulator (DS300X, DS3002B,
DS3103), a TS2022 tuner and an LNB supply on GPIO or an LNBH23. A receiver's
software loads this shared object with one export, which finds tuners, tunes
them, sends DiSEqC commands and reads signal quality and strength.")

set(library_package libds3000-${PROJECT_VERSION_MAJOR})
if(DS3000_SHARED_LIBRARY)
  ds3000_package(library ${library_package} libs
    "DVB-S and DVB-S2 front-end driver, shared library
The chip layer of the driver of receivers with a DS3000-family demodulator
and a TS2022 tuner, for a program that provides the access to the I2C bus and
to the LNB supply: connect, lock, signal quality, DiSEqC, Unicable and the
blind scan.")
  # Written here: cpack's own way would have the package call ldconfig as well, which is the trigger's.
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/debian/shlibs ${debian_folder}/triggers)
  file(CONFIGURE OUTPUT debian/shlibs CONTENT
    "libds3000 ${PROJECT_VERSION_MAJOR} ${library_package} (>= ${PROJECT_VERSION})\n")
  set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
endif()

ds3000_package(development libds3000-dev libdevel
  "DVB-S and DVB-S2 front-end driver, development files
Headers, static library, CMake and pkg-config files, examples and
documentation, for programs that drive a DS3000-family front end with the
driver's chip layer and for receivers' software that loads its plug-in.")
# What find_package(ds3000) names.
list(APPEND CPACK_COMPONENT_DEVELOPMENT_DEPENDS plugin)

if(DS3000_BUILD_WORLD)
  ds3000_package(tool ds3000-ctl video
    "DVB-S and DVB-S2 front-end driver, command-line program
ds3000-ctl loads the driver's plug-in as a receiver does, on a front end at an
I2C bus of this machine or on a simulated receiver. It tunes, sweeps channel
tables, scans satellites blind, shows how a dish is aligned, examines boards
that do not lock, and records and replays what crosses the bus.")
  set(CPACK_COMPONENT_TOOL_DEPENDS plugin)
  # The udev rule's groups.
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS adduser)
  set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS dtv-scan-tables)
  set(CPACK_DEBIAN_TOOL_PACKAGE_CONTROL_EXTRA ${debian_folder}/postinst)
endif()

set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/stage.cmake)
# For that script, which sees no other variables than these.
set(CPACK_DS3000_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_DS3000_CROSS_BUILT ${CMAKE_CROSSCOMPILING})
set(CPACK_DS3000_READELF ${CMAKE_READELF})
include(CPack)
