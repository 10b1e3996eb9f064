# SPDX-License-Identifier: Apache-2.0
# Compares the built library's binary interface with the baseline committed
# for its architecture, with libabigail's abidiff. Fails on an incompatible
# change (or when abidiff cannot compare); a compatible change (an added
# export, a private member) is shown and passes, and is the moment to
# refresh the baseline (docs/versioning.md).
#
# Usage: cmake -DABIDIFF=<abidiff> -DBASELINE=<file.abi> -DLIBRARY=<file>
#              -P CheckAbi.cmake
cmake_minimum_required(VERSION 3.25)

foreach(variable ABIDIFF BASELINE LIBRARY)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "CheckAbi.cmake: -D${variable}=... missing")
  endif()
endforeach()

execute_process(
  COMMAND ${ABIDIFF} ${BASELINE} ${LIBRARY}
  OUTPUT_VARIABLE report
  ERROR_VARIABLE report
  RESULT_VARIABLE status)
message("${report}")

# abidiff's status is a bit set: 1 error, 2 usage error, 4 ABI change,
# 8 incompatible ABI change.
if(NOT status MATCHES "^[0-9]+$")
  message(FATAL_ERROR "${ABIDIFF} did not run: ${status}")
endif()
math(EXPR failed "${status} & 11")
if(failed)
  message(FATAL_ERROR "abidiff status ${status}: incompatible with "
    "${BASELINE}. Keep the interface, or make the change a new major "
    "version (docs/versioning.md).")
endif()
math(EXPR changed "${status} & 4")
if(changed)
  message(STATUS "compatible ABI change against ${BASELINE}: refresh the "
    "baseline with the ovt_abi_baseline target")
else()
  message(STATUS "ABI identical to ${BASELINE}")
endif()
