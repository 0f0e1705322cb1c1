# SPDX-License-Identifier: MIT

# cpack runs this when each component lies in a folder of its own, before it packs them. It makes of
# them what Debian's policy asks for beyond the installed files, and finds out which packages the
# programs and libraries among them need.

# The packages of Debian 12 that programs and libraries built for another processor than this machine's
# need: dpkg-shlibdeps would look for theirs among the installed ones. A library that is not here fails.
set(package_of_libc.so.6 "libc6 (>= 2.36)")
set(package_of_libm.so.6 "libc6 (>= 2.36)")
set(package_of_ld-linux-aarch64.so.1 "libc6 (>= 2.36)")
set(package_of_ld-linux-armhf.so.3 "libc6 (>= 2.36)")
set(package_of_libgcc_s.so.1 "libgcc-s1")
set(package_of_libstdc++.so.6 "libstdc++6 (>= 12)")
set(package_of_libgpiod.so.2 "libgpiod2")
set(package_of_libpugixml.so.1 "libpugixml1v5")
set(package_of_libncursesw.so.6 "libncursesw6")
set(package_of_libtinfo.so.6 "libtinfo6")

function(run variable)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output ERROR_VARIABLE errors
    WORKING_DIRECTORY ${work} RESULT_VARIABLE result OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}: ${result}\n${output}\n${errors}")
  endif()
  set(${variable} "${output}" PARENT_SCOPE)
endfunction()

# Set a variable to what the files need, as the field Depends has it.
function(find_dependencies variable)
  if(NOT CPACK_DS3000_CROSS_BUILT)
    file(WRITE ${work}/debian/control "Source: ds3000\n")
    run(depends dpkg-shlibdeps -O ${ARGN})
    string(REPLACE "shlibs:Depends=" "" depends "${depends}")
    set(${variable} "${depends}" PARENT_SCOPE)
    return()
  endif()
  set(packages "")
  foreach(file IN LISTS ARGN)
    run(dynamic ${CPACK_DS3000_READELF} -d ${file})
    # Square brackets would hold the elements of a list together.
    string(REGEX REPLACE "[][]" "'" dynamic "${dynamic}")
    string(REGEX MATCHALL "\\(NEEDED\\)[^']*'[^']+" needed "${dynamic}")
    foreach(name IN LISTS needed)
      string(REGEX REPLACE ".*'" "" name "${name}")
      if(NOT DEFINED package_of_${name})
        message(FATAL_ERROR "${file}: which package has ${name}? cmake/debian/stage.cmake does not say")
      endif()
      list(APPEND packages "${package_of_${name}}")
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES packages)
  list(SORT packages)
  list(JOIN packages ", " packages)
  set(${variable} "${packages}" PARENT_SCOPE)
endfunction()

# The licence, as Debian's machine-readable form has it.
file(READ ${CPACK_DS3000_SOURCE_DIR}/LICENSE license)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]+)\n+(.*)$" license "${license}")
set(holder "${CMAKE_MATCH_1}")
string(STRIP "${CMAKE_MATCH_2}" terms)
string(REPLACE "\n" "\n " terms " ${terms}")
string(REPLACE "\n \n" "\n .\n" terms "${terms}")
set(copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/

Files: *
Copyright: ${holder}
License: Expat
${terms}
")

# SOURCE_DATE_EPOCH decides the date where it is set.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog "ds3000 (${CPACK_DEBIAN_PACKAGE_VERSION}) unstable; urgency=medium

  * Made from the sources of ${CPACK_PACKAGE_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

set(work ${CPACK_TEMPORARY_DIRECTORY}/dependencies)
file(MAKE_DIRECTORY ${work}/debian)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr)

  set(documents ${usr}/share/doc/${package})
  if(EXISTS ${usr}/share/doc/ds3000)
    file(RENAME ${usr}/share/doc/ds3000 ${documents})
  endif()
  file(REMOVE ${documents}/LICENSE)
  file(WRITE ${documents}/copyright "${copyright}")
  file(WRITE ${documents}/changelog.Debian "${changelog}")
  file(GLOB pages ${usr}/share/man/man*/*)
  run(nothing gzip -9 -n ${documents}/changelog.Debian ${pages})

  file(GLOB binaries ${usr}/bin/* ${usr}/lib/*/*.so.*.* ${usr}/lib/*/ds3000/*.so)
  if(binaries)
    find_dependencies(depends ${binaries})
    list(APPEND CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
    list(JOIN CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ", " CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS)
  endif()
endforeach()
