# SPDX-License-Identifier: Apache-2.0
# Compares the blocks of Markdown files that trafsim generates with what it
# generates now, or writes them in anew (-DUPDATE=ON). Each block follows a
# line "<!-- trafsim ARGUMENTS -->" and ends before a line "<!-- end -->":
#   --steps           the reference, as a code block
#   --sequence FILE   the sequence diagram of the scenario FILE (relative to
#                     ROOT), as a Mermaid code block
#
# cmake -DTRAFSIM=<program> -DROOT=<source dir> -DFILES=<file;...>
#       -DWORK=<scratch dir> [-DEMULATOR=<runner;args>] [-DUPDATE=ON]
#       -P CheckGenerated.cmake
foreach(document IN LISTS FILES)
  file(READ ${document} rest)
  set(written "")
  set(stale "")
  while(rest MATCHES "<!-- trafsim ([^>]*) -->\n")
    set(arguments "${CMAKE_MATCH_1}")
    string(FIND "${rest}" "${CMAKE_MATCH_0}" at)
    string(LENGTH "${CMAKE_MATCH_0}" length)
    math(EXPR at "${at} + ${length}")
    string(SUBSTRING "${rest}" 0 ${at} head)
    string(SUBSTRING "${rest}" ${at} -1 rest)
    string(FIND "${rest}" "<!-- end -->" end)
    string(SUBSTRING "${rest}" 0 ${end} block)
    string(SUBSTRING "${rest}" ${end} -1 rest)
    if(arguments STREQUAL "--steps")
      execute_process(COMMAND ${EMULATOR} ${TRAFSIM} --steps
        OUTPUT_VARIABLE generated RESULT_VARIABLE status)
      set(generated "```\n${generated}```\n")
    else()
      string(REGEX REPLACE "^--sequence " "" scenario "${arguments}")
      execute_process(COMMAND ${EMULATOR} ${TRAFSIM} --quiet
          --sequence ${WORK}/sequence.md ${ROOT}/${scenario}
        OUTPUT_QUIET RESULT_VARIABLE status)
      file(READ ${WORK}/sequence.md generated)
    endif()
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "`trafsim ${arguments}` exited with ${status}")
    endif()
    if(NOT block STREQUAL generated)
      string(APPEND stale "\n  trafsim ${arguments}")
    endif()
    string(APPEND written "${head}${generated}")
  endwhile()
  if(UPDATE)
    file(WRITE ${document} "${written}${rest}")
  elseif(stale)
    message(FATAL_ERROR "${document} differs from what trafsim generates:"
      "${stale}\nWrite it anew with `cmake --build --preset host --target "
      "trafsim-docs`.")
  endif()
endforeach()
