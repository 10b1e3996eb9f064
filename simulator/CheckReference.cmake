# Compares the step reference in README.md (between the lines
# "<!-- steps -->" and "<!-- end of steps -->", inside a code block) with
# what `trafsim --steps` prints.
#
# cmake -DTRAFSIM=<program> -DREADME=<file> [-DEMULATOR=<runner;args>]
#       -P CheckReference.cmake
execute_process(COMMAND ${EMULATOR} ${TRAFSIM} --steps
  OUTPUT_VARIABLE printed RESULT_VARIABLE status)
file(READ ${README} readme)
string(REGEX MATCH "<!-- steps -->\n```\n(.*)```\n<!-- end of steps -->"
  block "${readme}")
if(NOT status EQUAL 0 OR NOT "${CMAKE_MATCH_1}" STREQUAL "${printed}")
  message(FATAL_ERROR "README.md's step reference differs from "
    "`trafsim --steps`; paste its output between the markers:\n${printed}")
endif()
