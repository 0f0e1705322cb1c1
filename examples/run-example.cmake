# SPDX-License-Identifier: MIT

# cmake -D EXPECTED=FILE "-D COMMAND=PROGRAM;ARGUMENT..." -P run-example.cmake
#
# Runs an example and compares its standard output with a file, whose first line is a comment.
execute_process(COMMAND ${COMMAND}
  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE messages)
file(READ ${EXPECTED} expected)
string(REGEX REPLACE "^#[^\n]*\n" "" expected "${expected}")
if(NOT status EQUAL 0 OR NOT output STREQUAL expected)
  message(
    "--- expected (${EXPECTED})\n${expected}\n--- printed\n${output}\n"
    "--- standard error\n${messages}\n--- exit status ${status}")
  message(FATAL_ERROR "not what was expected: ${COMMAND}")
endif()
