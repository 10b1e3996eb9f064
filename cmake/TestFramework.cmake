# SPDX-License-Identifier: Apache-2.0
# GoogleTest and GoogleMock for the tests.
#
# A host build uses the installed packages. A cross build (or one with
# OVT_GTEST_FROM_SOURCE) compiles them from Debian's googletest source with
# the project's own compiler, since the installed libraries are built for
# the build machine only.
option(OVT_GTEST_FROM_SOURCE
  "Build GoogleTest/GoogleMock from source instead of using the installed ones"
  OFF)
set(OVT_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH
  "GoogleTest source tree used when it is built from source")

if(CMAKE_CROSSCOMPILING OR OVT_GTEST_FROM_SOURCE)
  if(NOT EXISTS ${OVT_GTEST_SOURCE_DIR}/CMakeLists.txt)
    message(FATAL_ERROR
      "No GoogleTest source in ${OVT_GTEST_SOURCE_DIR}: install the Debian "
      "package googletest (tools/install-deps.sh target)")
  endif()
  set(BUILD_GMOCK ON)
  set(INSTALL_GTEST OFF)
  # SYSTEM: the framework's headers are not held to the project's warnings.
  add_subdirectory(${OVT_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest
    EXCLUDE_FROM_ALL SYSTEM)
else()
  find_package(GTest REQUIRED)
endif()

include(GoogleTest)

# ovt_add_gtest(<name> SOURCES <file>... [LIBS <target>...] [LABELS <label>...])
# One GoogleTest executable and its tests. Discovery runs before the tests
# (PRE_TEST), not at build time: a cross build can run the executable only
# under its emulator, which CTest supplies when it runs the tests.
function(ovt_add_gtest name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS;LABELS")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} ovt_warnings)
  set(properties)
  if(arg_LABELS)
    set(properties PROPERTIES LABELS "${arg_LABELS}")
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST ${properties})
endfunction()
