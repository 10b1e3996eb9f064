# Compares the dynamic symbols that a shared library defines with a list kept
# in the repository. Any export missing from the list, or listed but not
# exported, fails.
#
# Usage: cmake -DNM=<nm of the library's toolchain> -DLIBRARY=<file>
#              -DEXPECTED=<list> -P CheckExports.cmake
# The list holds demangled names, one per line; blank lines and lines
# starting with '#' are ignored.
cmake_minimum_required(VERSION 3.25)

foreach(variable NM LIBRARY EXPECTED)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "CheckExports.cmake: -D${variable}=... missing")
  endif()
endforeach()

execute_process(
  COMMAND ${NM} --dynamic --defined-only --demangle ${LIBRARY}
  OUTPUT_VARIABLE nm_output
  ERROR_VARIABLE nm_error
  RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}: ${nm_error}")
endif()

# A line of nm is "<address> <type> <name>"; the demangled name may itself
# contain blanks and semicolons, so semicolons are escaped before the text is
# split into a CMake list.
string(REPLACE ";" "\\;" nm_output "${nm_output}")
string(REPLACE "\n" ";" nm_lines "${nm_output}")
set(actual "")
foreach(line IN LISTS nm_lines)
  if(line MATCHES "^[0-9A-Fa-f]* *[A-Za-z] (.+)$")
    list(APPEND actual "${CMAKE_MATCH_1}")
  endif()
endforeach()

file(STRINGS ${EXPECTED} expected_lines)
set(expected "")
foreach(line IN LISTS expected_lines)
  string(STRIP "${line}" line)
  if(line STREQUAL "" OR line MATCHES "^#")
    continue()
  endif()
  list(APPEND expected "${line}")
endforeach()

set(extra ${actual})
list(REMOVE_ITEM extra ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${actual})

if(extra OR missing)
  set(report "")
  foreach(name IN LISTS extra)
    string(APPEND report "\n  exported but not expected: ${name}")
  endforeach()
  foreach(name IN LISTS missing)
    string(APPEND report "\n  expected but not exported: ${name}")
  endforeach()
  message(FATAL_ERROR
    "Exports of ${LIBRARY} differ from ${EXPECTED}:${report}\n"
    "If the change is intended, update the list (README: \"Target build and "
    "binary-interface guard\").")
endif()

list(LENGTH actual count)
message(STATUS "${count} exports, as expected")
