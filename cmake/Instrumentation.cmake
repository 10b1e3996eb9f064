# Instrumentation applied to every target of the build, chosen by presets:
#   OVT_SANITIZERS  sanitizers, e.g. "address;undefined" or "thread". Every
#                   report ends the program (no recovery), so a test that
#                   triggers one fails.
#   OVT_COVERAGE    gcov counters for the coverage report.
set(OVT_SANITIZERS "" CACHE STRING
  "Sanitizers for every target (a list, e.g. address;undefined)")
option(OVT_COVERAGE "Instrument every target for gcov" OFF)

if(OVT_SANITIZERS)
  list(JOIN OVT_SANITIZERS "," ovt_sanitize)
  add_compile_options(-fsanitize=${ovt_sanitize} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ovt_sanitize})
endif()

if(OVT_COVERAGE)
  add_compile_options(--coverage -O0)
  add_link_options(--coverage)
endif()
