# SPDX-License-Identifier: Apache-2.0
# Installs the default components of the build tree OVT_BUILD_DIR as a target
# root file system build does (prefix /usr, staged under DESTDIR) and checks
# that exactly the files of PackageFiles.cmake arrive: the library with its
# SONAME links, the client, lifecycle and platform headers, the test-support
# headers, the CMake package, the pkg-config files, which still work once the
# tree is moved, and the licence of each Debian package. Nothing of the
# stand-in platform, the simulator or the tests.
#
#   cmake -DOVT_BUILD_DIR=... -DOVT_WORK_DIR=... -DOVT_VERSION=...
#         -DOVT_LIBDIR=lib -DOVT_INCLUDEDIR=include -DOVT_BUILD_TYPE=...
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

include(${CMAKE_CURRENT_LIST_DIR}/PackageFiles.cmake)
set(expected ${ovt_files_runtime} ${ovt_files_development} ${ovt_files_testing})
list(TRANSFORM expected PREPEND "usr/")
file(GLOB_RECURSE installed LIST_DIRECTORIES false RELATIVE "${stage}"
  "${stage}/*")
set(failures "")
ovt_compare_file_lists("installed files" "${expected}" "${installed}")
if(failures)
  message(FATAL_ERROR "${failures}")
endif()

set(lib "usr/${OVT_LIBDIR}")
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
