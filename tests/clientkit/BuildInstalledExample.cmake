# Installs the build tree OVT_BUILD_DIR into a fresh prefix, with the
# "standin" component, then configures, builds and tests an example (the
# client module, the platform program) against that prefix alone, as a
# client-module developer or a platform integrator would.
#
# Cross builds: the example is configured with the same toolchain file, and
# its tests run under the same emulator. GoogleTest for the target, when the
# example needs it (OVT_EXAMPLE_USES_GTEST, on by default), is built from
# OVT_GOOGLETEST_SOURCE_DIR unless OVT_GTEST_DIR names an installed one.
# Without an emulator or a GoogleTest to use, the test is skipped with a
# message starting "OVT-SKIP:".
#
#   cmake -DOVT_BUILD_DIR=... -DOVT_WORK_DIR=... -DOVT_EXAMPLE_DIR=...
#         -DOVT_LIBDIR=lib -DOVT_CTEST_COMMAND=... -DOVT_GENERATOR=... [-DOVT_MAKE_PROGRAM=...] [-DOVT_CXX_COMPILER=...]
#         [-DOVT_SANITIZE=address,undefined] [-DOVT_EXAMPLE_USES_GTEST=OFF]
#         [-DOVT_BUILD_TYPE=...] [-DOVT_CROSSCOMPILING=ON
#         -DOVT_TOOLCHAIN_FILE=... -DOVT_EMULATOR=... -DOVT_GTEST_DIR=...
#         -DOVT_GOOGLETEST_SOURCE_DIR=...] -P BuildInstalledExample.cmake

foreach(required OVT_BUILD_DIR OVT_WORK_DIR OVT_EXAMPLE_DIR OVT_LIBDIR
                 OVT_CTEST_COMMAND OVT_GENERATOR)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "${required} not given")
  endif()
endforeach()

# Runs a command, showing it, and stops the test when it fails.
function(ovt_run)
  execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result})")
  endif()
endfunction()

set(configure_arguments
  -G "${OVT_GENERATOR}"
  "-DCMAKE_BUILD_TYPE=${OVT_BUILD_TYPE}")
if(OVT_MAKE_PROGRAM)
  list(APPEND configure_arguments "-DCMAKE_MAKE_PROGRAM=${OVT_MAKE_PROGRAM}")
endif()
set(prefix "${OVT_WORK_DIR}/prefix")
set(example_build "${OVT_WORK_DIR}/build")
if(OVT_CROSSCOMPILING)
  if(NOT OVT_EMULATOR)
    message(STATUS "OVT-SKIP: cross build without an emulator to run the "
                   "example's tests")
    return()
  endif()
  if(DEFINED OVT_EXAMPLE_USES_GTEST AND NOT OVT_EXAMPLE_USES_GTEST)
    set(gtest_setting "")
  elseif(OVT_GTEST_DIR AND EXISTS "${OVT_GTEST_DIR}/GTestConfig.cmake")
    set(gtest_setting "set(GTest_DIR \"${OVT_GTEST_DIR}\" CACHE PATH \"\")")
  elseif(OVT_GOOGLETEST_SOURCE_DIR AND
         EXISTS "${OVT_GOOGLETEST_SOURCE_DIR}/CMakeLists.txt")
    set(gtest_setting "set(HCCD_ECHO_GOOGLETEST_SOURCE_DIR \"${OVT_GOOGLETEST_SOURCE_DIR}\" CACHE PATH \"\")")
  else()
    message(STATUS "OVT-SKIP: cross build without a GoogleTest for the "
                   "target (give OVT_GOOGLETEST_SOURCE_DIR)")
    return()
  endif()
  # An initial cache keeps the emulator's arguments, a list, in one piece.
  set(cross_cache "${OVT_WORK_DIR}/cross.cmake")
  file(REMOVE_RECURSE "${OVT_WORK_DIR}")
  file(WRITE "${cross_cache}"
    "set(CMAKE_TOOLCHAIN_FILE \"${OVT_TOOLCHAIN_FILE}\" CACHE FILEPATH \"\")\n"
    "set(CMAKE_CROSSCOMPILING_EMULATOR \"${OVT_EMULATOR}\" CACHE STRING \"\")\n"
    "${gtest_setting}\n")
  list(APPEND configure_arguments -C "${cross_cache}")
else()
  file(REMOVE_RECURSE "${OVT_WORK_DIR}")
  if(OVT_CXX_COMPILER)
    list(APPEND configure_arguments "-DCMAKE_CXX_COMPILER=${OVT_CXX_COMPILER}")
  endif()
endif()
# A sanitized build installs sanitized libraries: the example must carry the
# same runtime, which has to come first in the program.
if(OVT_SANITIZE)
  set(sanitize_flag "-fsanitize=${OVT_SANITIZE}")
  # The library keeps its type information hidden, which the vptr check of
  # a separately built caller would need to link.
  if(OVT_SANITIZE MATCHES "undefined")
    string(APPEND sanitize_flag " -fno-sanitize=vptr")
  endif()
  list(APPEND configure_arguments
    "-DCMAKE_CXX_FLAGS=${sanitize_flag}"
    "-DCMAKE_EXE_LINKER_FLAGS=${sanitize_flag}"
    "-DCMAKE_SHARED_LINKER_FLAGS=${sanitize_flag}")
endif()

ovt_run("${CMAKE_COMMAND}" --install "${OVT_BUILD_DIR}" --prefix "${prefix}")
ovt_run("${CMAKE_COMMAND}" --install "${OVT_BUILD_DIR}" --prefix "${prefix}"
  --component standin)
# Only the fresh prefix: the package must not be found anywhere else.
ovt_run("${CMAKE_COMMAND}" -S "${OVT_EXAMPLE_DIR}" -B "${example_build}"
  ${configure_arguments}
  "-DCMAKE_PREFIX_PATH=${prefix}"
  "-DOvtTrafHandler_DIR=${prefix}/${OVT_LIBDIR}/cmake/OvtTrafHandler"
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
ovt_run("${CMAKE_COMMAND}" --build "${example_build}" --parallel 2)
ovt_run("${OVT_CTEST_COMMAND}" --test-dir "${example_build}"
  --output-on-failure)
