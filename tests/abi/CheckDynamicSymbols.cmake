# SPDX-License-Identifier: Apache-2.0
# Compares the dynamic symbols of a shared library with a list kept in the
# repository: what it exports (defines), or what it imports from the
# platform (undefined, strong and without a symbol version: versioned
# imports come from the C and C++ runtimes, weak ones are optional). Any
# symbol missing from the list, or listed but absent, fails.
#
# Usage: cmake -DNM=<nm of the library's toolchain> -DLIBRARY=<file>
#              -DEXPECTED=<list> -DWHICH=exports|imports
#              -P CheckDynamicSymbols.cmake
# The list holds demangled names, one per line; blank lines and lines
# starting with '#' are ignored.
cmake_minimum_required(VERSION 3.25)

foreach(variable NM LIBRARY EXPECTED WHICH)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "CheckDynamicSymbols.cmake: -D${variable}=... missing")
  endif()
endforeach()
if(WHICH STREQUAL "exports")
  set(nm_selection --defined-only)
  set(symbol_pattern "^[0-9A-Fa-f]* *[A-Za-z] (.+)$")
elseif(WHICH STREQUAL "imports")
  set(nm_selection --undefined-only)
  set(symbol_pattern "^ *U ([^@]+)$")
else()
  message(FATAL_ERROR "CheckDynamicSymbols.cmake: WHICH=${WHICH} unknown")
endif()

execute_process(
  COMMAND ${NM} --dynamic ${nm_selection} --demangle ${LIBRARY}
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
  if(line MATCHES "${symbol_pattern}")
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
    string(APPEND report "\n  present but not expected: ${name}")
  endforeach()
  foreach(name IN LISTS missing)
    string(APPEND report "\n  expected but not present: ${name}")
  endforeach()
  message(FATAL_ERROR
    "The ${WHICH} of ${LIBRARY} differ from ${EXPECTED}:${report}\n"
    "If the change is intended, update the list and docs/integration.md.")
endif()

list(LENGTH actual count)
message(STATUS "${count} ${WHICH}, as expected")
