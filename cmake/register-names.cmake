# SPDX-License-Identifier: MIT

# cmake -D OUTPUT=FILE -P register-names.cmake -- NAME HEADER ...
#
# Writes C++ tables of the names in register headers, so that a trace is explained in the words of
# the driver's own headers and there is no second list of them. Of every line
#   inline constexpr address NAME = 0xNN;          // comment
#   inline constexpr std::uint8_t NAME = 0xNN;     // comment
# the first becomes a row of NAME_registers; the second, a value of the register above it, a row of
# NAME_values. The comment tells whether a name holds for writes or for reads alone. Masks and
# shifts of fields are no values.

# In which direction a name holds, by how its comment begins: "read: ...", "DVB-S2, write".
function(access_of comment result)
  set(access both)
  if(comment MATCHES "^ *// ([-A-Z0-9]+, )?(read|write)([ ,:]|$)")
    set(access ${CMAKE_MATCH_2})
    if(comment MATCHES "@ (read|write)[:@]")
      set(access both)
    endif()
  endif()
  set(${result} ${access} PARENT_SCOPE)
endfunction()

# The rows of one header.
function(read_header header registers values)
  file(READ ${header} text)
  # Semicolons and brackets are the list syntax's own.
  string(REPLACE ";" "@" text "${text}")
  string(REPLACE "[" "(" text "${text}")
  string(REPLACE "]" ")" text "${text}")
  string(REGEX MATCHALL "inline constexpr [^@]*@[^\n]*" declarations "${text}")
  set(register_rows "")
  set(value_rows "")
  set(register "")
  foreach(declaration IN LISTS declarations)
    if(NOT declaration MATCHES
       "^inline constexpr (address|std::uint8_t) ([a-z0-9_]+) =[ \n]+([0-9A-Fx]+)@(.*)$")
      message(FATAL_ERROR "${header}: '${declaration}' is no register and no value")
    endif()
    set(kind ${CMAKE_MATCH_1})
    set(name ${CMAKE_MATCH_2})
    set(number ${CMAKE_MATCH_3})
    access_of("${CMAKE_MATCH_4}" access)
    if(kind STREQUAL "address")
      set(register ${number})
      string(APPEND register_rows "    {\"${name}\", ${number}, Access::${access}},\n")
    elseif(NOT name MATCHES "_(mask|shift)$")
      string(APPEND value_rows "    {\"${name}\", ${register}, ${number}, Access::${access}},\n")
    endif()
  endforeach()
  set(${registers} "${register_rows}" PARENT_SCOPE)
  set(${values} "${value_rows}" PARENT_SCOPE)
endfunction()

set(text "// SPDX-License-Identifier: MIT\n// Made by the build from the register headers.\n")
set(first 0)
while(NOT "${CMAKE_ARGV${first}}" STREQUAL "--")
  math(EXPR first "${first} + 1")
endwhile()
math(EXPR at "${first} + 1")
while(at LESS CMAKE_ARGC)
  math(EXPR next "${at} + 1")
  read_header("${CMAKE_ARGV${next}}" registers values)
  string(APPEND text
    "constexpr RegisterRow ${CMAKE_ARGV${at}}_registers[] = {\n${registers}};\n"
    "constexpr ValueRow ${CMAKE_ARGV${at}}_values[] = {\n${values}};\n")
  math(EXPR at "${at} + 2")
endwhile()
file(WRITE ${OUTPUT} "${text}")
