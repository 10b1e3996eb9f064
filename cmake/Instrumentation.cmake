# SPDX-License-Identifier: Apache-2.0
# Instrumentation applied to every target of the build, chosen by presets:
#   OVT_SANITIZERS  sanitizers, e.g. "address;undefined" or "thread". Every
#                   report ends the program (no recovery), so a test that
#                   triggers one fails.
#   OVT_COVERAGE    gcov counters for the coverage report.
#   OVT_FUZZING     libFuzzer's coverage feedback (clang only), and the
#                   harnesses under fuzz/, which link libFuzzer's main.
set(OVT_SANITIZERS "" CACHE STRING
  "Sanitizers for every target (a list, e.g. address;undefined)")
option(OVT_COVERAGE "Instrument every target for gcov" OFF)
option(OVT_FUZZING "Build the libFuzzer harnesses under fuzz/ (clang)" OFF)

if(OVT_SANITIZERS)
  list(JOIN OVT_SANITIZERS "," ovt_sanitize)
  add_compile_options(-fsanitize=${ovt_sanitize} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ovt_sanitize})
endif()

if(OVT_COVERAGE)
  # Atomic counters: the stress test runs the handler on several threads at
  # once, and counters updated without them can come out negative, which
  # gcovr refuses to read.
  add_compile_options(--coverage -fprofile-update=atomic -O0)
  add_link_options(--coverage)
endif()

if(OVT_FUZZING)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "OVT_FUZZING needs clang (libFuzzer)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
