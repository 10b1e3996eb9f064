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
