# SPDX-License-Identifier: Apache-2.0
# The one list of warning flags; every target of the project links
# ovt_warnings. Warnings are errors.
add_library(ovt_warnings INTERFACE)
target_compile_options(ovt_warnings INTERFACE
  -Wall
  -Wextra
  -Wpedantic
  -Werror
  -Wshadow
  -Wconversion
  -Wsign-conversion
  -Wold-style-cast
  -Wnon-virtual-dtor
  -Woverloaded-virtual
  -Wcast-align
  -Wformat=2
  -Wimplicit-fallthrough
  -Wmissing-declarations
  -Wundef)

# GCC on 32-bit ARM notes "parameter passing for argument of type ...
# changed in GCC 7.1" (-Wpsabi) wherever a function takes certain aggregates
# by value: GCC 7.1 passes them otherwise than GCC 6 did, which matters only
# between code built on both sides of that change. Everything here is built
# with one compiler, and the library's exported interface passes no
# aggregate by value (scalars, enumerations, pointers, references); the notes
# name std::vector internals that the simulator and the tests instantiate.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  target_compile_options(ovt_warnings INTERFACE -Wno-psabi)
endif()
