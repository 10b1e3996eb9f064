# SPDX-License-Identifier: Apache-2.0
# Installs the default components of the build tree OVT_BUILD_DIR as a target
# root file system build does (prefix /usr, staged under DESTDIR) and checks
# that exactly the expected files arrive: the library with its SONAME links,
# the client, lifecycle and platform headers, the test-support headers, the
# CMake package, the pkg-config files, which still work once the tree is
# moved, and the licence of each Debian package. Nothing of the stand-in
# platform, the simulator or the tests.
#
#   cmake -DOVT_BUILD_DIR=... -DOVT_WORK_DIR=... -DOVT_LIBDIR=lib
#         -DOVT_INCLUDEDIR=include -DOVT_BUILD_TYPE=...
#         [-DOVT_PKG_CONFIG=/usr/bin/pkg-config] -P CheckInstallLayout.cmake

foreach(required OVT_BUILD_DIR OVT_WORK_DIR OVT_LIBDIR OVT_INCLUDEDIR)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "${required} not given")
  endif()
endforeach()

set(stage "${OVT_WORK_DIR}/stage")
file(REMOVE_RECURSE "${OVT_WORK_DIR}")
file(MAKE_DIRECTORY "${stage}")

set(ENV{DESTDIR} "${stage}")
execute_process(
  COMMAND "${CMAKE_COMMAND}" --install "${OVT_BUILD_DIR}" --prefix /usr
  RESULT_VARIABLE result)
unset(ENV{DESTDIR})
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${result}")
endif()

set(lib "usr/${OVT_LIBDIR}")
set(inc "usr/${OVT_INCLUDEDIR}/OvtTrafHandler")
set(pkg "${lib}/cmake/OvtTrafHandler")
if(OVT_BUILD_TYPE)
  string(TOLOWER "${OVT_BUILD_TYPE}" config)
else()
  set(config noconfig)
endif()
set(expected
  "${lib}/libOvtTrafHandler.so.1.0.0"
  "${lib}/libOvtTrafHandler.so.1"
  "${lib}/libOvtTrafHandler.so"
  "${inc}/ITrafHandler.h"
  "${inc}/TarvikTrafHandler.h"
  "${inc}/TrafHandlerExport.h"
  "${inc}/platform/CDriver.h"
  "${inc}/platform/HccdHandlerBase.h"
  "${inc}/platform/IFrameFormat.h"
  "${inc}/platform/InterfaceBroker.h"
  "${inc}/platform/ModuleInterface.h"
  "${inc}/platform/QelTrace.h"
  "${inc}/testing/MockTrafHandler.h"
  "${inc}/testing/RecordingHccdPortCallback.h"
  "${pkg}/OvtTrafHandlerConfig.cmake"
  "${pkg}/OvtTrafHandlerConfigVersion.cmake"
  "${pkg}/OvtTrafHandlerTargets.cmake"
  "${pkg}/OvtTrafHandlerTargets-${config}.cmake"
  "${pkg}/OvtTrafHandlerTestingTargets.cmake"
  "${lib}/pkgconfig/OvtTrafHandler.pc"
  "${lib}/pkgconfig/OvtTrafHandlerLibrary.pc"
  "${lib}/pkgconfig/OvtTrafHandlerTesting.pc"
  "usr/share/doc/libovttrafhandler1/copyright"
  "usr/share/doc/libovttrafhandler-dev/copyright")
list(SORT expected)

file(GLOB_RECURSE installed LIST_DIRECTORIES false RELATIVE "${stage}"
  "${stage}/*")
list(SORT installed)
if(NOT installed STREQUAL expected)
  set(missing ${expected})
  list(REMOVE_ITEM missing ${installed})
  set(unexpected ${installed})
  list(REMOVE_ITEM unexpected ${expected})
  list(JOIN missing "\n  " missing)
  list(JOIN unexpected "\n  " unexpected)
  message(FATAL_ERROR
    "installed files differ\nmissing:\n  ${missing}\nunexpected:\n  ${unexpected}")
endif()

# The links a loader and a linker follow.
foreach(link_target IN ITEMS "libOvtTrafHandler.so.1:libOvtTrafHandler.so.1.0.0"
                             "libOvtTrafHandler.so:libOvtTrafHandler.so.1")
  string(REPLACE ":" ";" pair "${link_target}")
  list(GET pair 0 link)
  list(GET pair 1 target)
  if(NOT IS_SYMLINK "${stage}/${lib}/${link}")
    message(FATAL_ERROR "${lib}/${link} is not a symbolic link")
  endif()
  file(READ_SYMLINK "${stage}/${lib}/${link}" points_to)
  if(NOT points_to STREQUAL target)
    message(FATAL_ERROR "${lib}/${link} -> ${points_to}, expected ${target}")
  endif()
endforeach()

# pkg-config, on the installed tree moved elsewhere: a client module gets
# the headers and no library, the platform the library.
if(OVT_PKG_CONFIG)
  set(moved "${OVT_WORK_DIR}/moved")
  file(RENAME "${stage}" "${moved}")
  set(ENV{PKG_CONFIG_LIBDIR} "${moved}/${lib}/pkgconfig")
  file(RELATIVE_PATH to_prefix "/p/${lib}/pkgconfig" "/p/usr")
  string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
  set(prefix "${moved}/${lib}/pkgconfig/${to_prefix}")
  set(include "${prefix}/${OVT_INCLUDEDIR}/OvtTrafHandler")
  foreach(case IN ITEMS
      "OvtTrafHandler|-I${include} -I${include}/platform"
      "OvtTrafHandlerLibrary|-I${include} -I${include}/platform -L${prefix}/${OVT_LIBDIR} -lOvtTrafHandler")
    string(REPLACE "|" ";" case "${case}")
    list(GET case 0 package)
    list(GET case 1 expected_flags)
    execute_process(
      COMMAND "${OVT_PKG_CONFIG}" --cflags --libs ${package}
      OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE
      RESULT_VARIABLE result)
    if(NOT result EQUAL 0 OR NOT flags STREQUAL expected_flags)
      message(FATAL_ERROR "pkg-config ${package} gave '${flags}' "
        "(status ${result}), expected '${expected_flags}'")
    endif()
  endforeach()
  set(stage "${moved}")
endif()
message(STATUS "installed layout as expected under ${stage}")
