# SPDX-License-Identifier: MIT

# cmake -D SOURCE=FOLDER -D HEADER=FILE -P write-revision.cmake
#
# Writes which state of its sources a program is made of, in git's words (v1.0.0-3-g0123456789ab-dirty),
# as DS3000_REVISION; an empty one where nothing tells. A checkout asks git, an archive has it from git
# in cmake/revision.txt. The header is touched only when it changes.
cmake_minimum_required(VERSION 3.25)

set(revision "")
if(EXISTS ${SOURCE}/.git)
  # Not a repository that this tree merely lies in.
  execute_process(COMMAND git -C ${SOURCE} describe --tags --long --always --dirty --abbrev=12
    OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
  if(failed)
    set(revision "")
  endif()
else()
  file(STRINGS ${SOURCE}/cmake/revision.txt lines)
  list(POP_FRONT lines described hash)
  if(NOT hash MATCHES "Format")
    set(revision "${described}")
    if(NOT described)
      set(revision "${hash}")
    elseif(NOT described MATCHES "-g[0-9a-f]+$")
      string(APPEND revision "-0-g${hash}")
    endif()
  endif()
endif()

set(content "#define DS3000_REVISION \"${revision}\"\n")
file(CONFIGURE OUTPUT ${HEADER} CONTENT "${content}" @ONLY)
