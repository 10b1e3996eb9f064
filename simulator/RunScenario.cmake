# SPDX-License-Identifier: Apache-2.0
# Runs trafsim on one scenario file and checks the outcome the file states
# in its "# expect exit N: TEXT" lines: the exit status N, and each TEXT
# somewhere in the output. A file without such lines must exit 0.
#
# cmake -DTRAFSIM=<program> -DSCENARIO=<file> [-DEMULATOR=<runner;args>]
#       [-DOPTIONS=<options>] [-DEXPECT=<N: TEXT>] -P RunScenario.cmake
# EMULATOR runs a program built for another machine (a cross build);
# EXPECT states the outcome in place of the file (which may not be one).
execute_process(
  COMMAND ${EMULATOR} ${TRAFSIM} --quiet ${OPTIONS} ${SCENARIO}
  RESULT_VARIABLE status
  OUTPUT_VARIABLE output
  ERROR_VARIABLE errors)
set(output "${output}${errors}")

set(expected 0)
if(DEFINED EXPECT)
  set(stated "# expect exit ${EXPECT}")
else()
  file(STRINGS ${SCENARIO} stated REGEX "^# expect exit [0-9]+: ")
endif()
foreach(line IN LISTS stated)
  string(REGEX REPLACE "^# expect exit ([0-9]+): .*$" "\\1" expected "${line}")
  string(REGEX REPLACE "^# expect exit [0-9]+: (.*)$" "\\1" text "${line}")
  string(FIND "${output}" "${text}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "output lacks \"${text}\":\n${output}")
  endif()
endforeach()
if(NOT status EQUAL expected)
  message(FATAL_ERROR "exit status ${status}, expected ${expected}:\n${output}")
endif()
