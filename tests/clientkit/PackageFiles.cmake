# SPDX-License-Identifier: Apache-2.0
# The files each default install component puts under the prefix, relative
# to it: the one list that the install layout and the Debian packages are
# held to. Sets ovt_files_runtime, ovt_files_development, ovt_files_testing
# and the package names ovt_runtime_package, ovt_development_package.
#
# Needs OVT_VERSION, OVT_LIBDIR, OVT_INCLUDEDIR and OVT_BUILD_TYPE (empty
# for none).
foreach(required OVT_VERSION OVT_LIBDIR OVT_INCLUDEDIR)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "${required} not given")
  endif()
endforeach()

string(REGEX MATCH "^[0-9]+" ovt_major "${OVT_VERSION}")
set(ovt_runtime_package "libovttrafhandler${ovt_major}")
set(ovt_development_package "libovttrafhandler-dev")
if(OVT_BUILD_TYPE)
  string(TOLOWER "${OVT_BUILD_TYPE}" ovt_config)
else()
  set(ovt_config noconfig)
endif()

set(lib "${OVT_LIBDIR}")
set(inc "${OVT_INCLUDEDIR}/OvtTrafHandler")
set(pkg "${lib}/cmake/OvtTrafHandler")
set(doc "share/doc")
set(ovt_files_runtime
  "${lib}/libOvtTrafHandler.so.${OVT_VERSION}"
  "${lib}/libOvtTrafHandler.so.${ovt_major}"
  "${lib}/libOvtTrafHandler.so"
  "${doc}/${ovt_runtime_package}/copyright")
set(ovt_files_development
  "${inc}/ITrafHandler.h"
  "${inc}/TarvikTrafHandler.h"
  "${inc}/TrafHandlerExport.h"
  "${inc}/platform/CDriver.h"
  "${inc}/platform/HccdHandlerBase.h"
  "${inc}/platform/IFrameFormat.h"
  "${inc}/platform/InterfaceBroker.h"
  "${inc}/platform/ModuleInterface.h"
  "${inc}/platform/QelTrace.h"
  "${pkg}/OvtTrafHandlerConfig.cmake"
  "${pkg}/OvtTrafHandlerConfigVersion.cmake"
  "${pkg}/OvtTrafHandlerTargets.cmake"
  "${pkg}/OvtTrafHandlerTargets-${ovt_config}.cmake"
  "${lib}/pkgconfig/OvtTrafHandler.pc"
  "${lib}/pkgconfig/OvtTrafHandlerLibrary.pc"
  "${doc}/${ovt_development_package}/copyright")
set(ovt_files_testing
  "${inc}/testing/MockTrafHandler.h"
  "${inc}/testing/RecordingHccdPortCallback.h"
  "${pkg}/OvtTrafHandlerTestingTargets.cmake"
  "${lib}/pkgconfig/OvtTrafHandlerTesting.pc")
unset(lib)
unset(inc)
unset(pkg)
unset(doc)

# Appends to the variable `failures` what tells `actual` from `expected`
# (both lists are sorted here), under the heading `what`.
function(ovt_compare_file_lists what expected actual)
  list(SORT expected)
  list(SORT actual)
  if(actual STREQUAL expected)
    return()
  endif()
  set(missing ${expected})
  list(REMOVE_ITEM missing ${actual})
  set(unexpected ${actual})
  list(REMOVE_ITEM unexpected ${expected})
  list(JOIN missing "\n    " missing)
  list(JOIN unexpected "\n    " unexpected)
  string(APPEND failures "\n  ${what} differ\n  missing:\n    ${missing}"
    "\n  unexpected:\n    ${unexpected}")
  set(failures "${failures}" PARENT_SCOPE)
endfunction()
