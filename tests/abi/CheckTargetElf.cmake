# SPDX-License-Identifier: Apache-2.0
# Checks that a file is built for the board: ELF 32-bit, ARM, EABI with the
# hard-float calling convention (floating-point arguments in VFP registers).
#
# Usage: cmake -DREADELF=<readelf> -DFILE=<file> -P CheckTargetElf.cmake
cmake_minimum_required(VERSION 3.25)

foreach(variable READELF FILE)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "CheckTargetElf.cmake: -D${variable}=... missing")
  endif()
endforeach()

execute_process(
  COMMAND ${READELF} --file-header --arch-specific ${FILE}
  OUTPUT_VARIABLE readelf_output
  ERROR_VARIABLE readelf_error
  RESULT_VARIABLE readelf_result)
if(NOT readelf_result EQUAL 0)
  message(FATAL_ERROR "${READELF} failed on ${FILE}: ${readelf_error}")
endif()

set(failures "")
macro(require pattern what)
  if(NOT readelf_output MATCHES "${pattern}")
    string(APPEND failures "\n  not ${what}")
  endif()
endmacro()
require("Class: +ELF32\n" "ELF 32-bit")
require("Machine: +ARM\n" "ARM")
require("Flags: +[^\n]*Version5 EABI" "EABI version 5")
require("Flags: +[^\n]*hard-float ABI" "marked hard-float in the header")
require("Tag_ABI_VFP_args: VFP registers\n"
  "passing floating-point arguments in VFP registers (Tag_ABI_VFP_args)")

if(failures)
  message(FATAL_ERROR "${FILE} is not a 32-bit ARM hard-float object:"
    "${failures}\n${readelf_output}")
endif()
message(STATUS "${FILE}: ELF32 ARM, EABI5, hard-float")
