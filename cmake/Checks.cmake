# SPDX-License-Identifier: Apache-2.0
# Checks that CI runs as CTest tests or targets, each switched on by its
# preset (CMakePresets.json):
#   OVT_COVERAGE  the test coverage.thresholds (label coverage-report), run
#                 after the others by a test step of its own
#   OVT_MEMCHECK  the load tests and the simulator under Valgrind memcheck
#                 (label memcheck)
#   OVT_LINT      the target `lint`: tools/lint.sh on this build
option(OVT_MEMCHECK
  "Add Valgrind memcheck runs of the load tests and the simulator" OFF)
option(OVT_LINT "Add the target lint (clang-format and clang-tidy)" OFF)

if(OVT_COVERAGE AND OVT_BUILD_TESTS)
  find_program(OVT_GCOVR gcovr REQUIRED)
  # Counters of an earlier run would add up with this one's: each build
  # starts them afresh.
  add_custom_target(ovt_coverage_reset ALL
    COMMAND find ${PROJECT_BINARY_DIR} -name *.gcda -delete)
  # The module's own code, less the client kit's test-support headers (they
  # ship for client tests). Branches the compiler adds for exception
  # unwinding, and those on lines without code, are left out:
  # docs/hardening.md, "Coverage", says why.
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/coverage)
  add_test(NAME coverage.thresholds
    COMMAND ${OVT_GCOVR} --root . --object-directory ${PROJECT_BINARY_DIR}
      --filter src/ --exclude src/PlatformServices/TrafHandler/testing/
      --exclude-throw-branches --exclude-unreachable-branches
      --html-details ${PROJECT_BINARY_DIR}/coverage/index.html
      --print-summary --fail-under-line 100 --fail-under-branch 98
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  set_tests_properties(coverage.thresholds PROPERTIES LABELS coverage-report)
endif()

if(OVT_MEMCHECK)
  find_program(OVT_VALGRIND valgrind REQUIRED)
  # Any invalid access, and any definite or indirect leak, fails the test.
  foreach(program trafhandler_load_tests trafsim)
    if(TARGET ${program})
      add_test(NAME memcheck.${program}
        COMMAND ${OVT_VALGRIND} --tool=memcheck --error-exitcode=1
          --leak-check=full --errors-for-leak-kinds=definite,indirect
          --show-leak-kinds=definite,indirect --track-origins=yes
          $<TARGET_FILE:${program}>)
      set_tests_properties(memcheck.${program} PROPERTIES LABELS memcheck)
    endif()
  endforeach()
endif()

if(OVT_LINT)
  add_custom_target(lint
    COMMAND ${PROJECT_SOURCE_DIR}/tools/lint.sh ${PROJECT_BINARY_DIR}
    USES_TERMINAL)
endif()
