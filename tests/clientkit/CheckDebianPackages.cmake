# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages of the build tree OVT_BUILD_DIR with the cpack
# command that docs/integration.md gives, run as written from the checkout's
# root (this build tree standing for build/target-arm), and checks that they
# land in OVT_PACKAGE_DIR and nothing in the checkout. Then it checks what
# dpkg-deb shows of them: name, architecture, version and dependencies, and
# the whole list of each package's files against PackageFiles.cmake. The
# runtime package holds the runtime component, the development package the
# development and testing components; both install into one root, and each
# carries the licence. Then, on the runtime package alone, the two programs
# of OVT_PROGRAMS (RuntimePackageProgram.cpp) find the module there: one
# opens it by name, the other is linked against it. A cross build runs them
# under its emulator.
#
#   cmake -DOVT_SOURCE_DIR=... -DOVT_BUILD_DIR=... -DOVT_PACKAGE_DIR=...
#         -DOVT_WORK_DIR=... -DOVT_ARCH=amd64|armhf -DOVT_VERSION=...
#         -DOVT_LIBDIR=lib -DOVT_INCLUDEDIR=include -DOVT_BUILD_TYPE=...
#         -DOVT_READELF=... -DOVT_PROGRAMS=<opens>|<linked>
#         -DOVT_STANDIN_LIBRARY_DIR=... [-DOVT_EMULATOR=qemu-arm|-L|...]
#         -P CheckDebianPackages.cmake
foreach(required OVT_SOURCE_DIR OVT_BUILD_DIR OVT_PACKAGE_DIR OVT_WORK_DIR
                 OVT_ARCH OVT_VERSION OVT_LIBDIR OVT_READELF OVT_PROGRAMS
                 OVT_STANDIN_LIBRARY_DIR)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "${required} not given")
  endif()
endforeach()
include(${CMAKE_CURRENT_LIST_DIR}/PackageFiles.cmake)

function(ovt_run output)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE text ERROR_VARIABLE text
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${result}):\n${text}")
  endif()
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

set(failures "")
# Each pattern must match somewhere in `text`.
function(ovt_expect text what)
  foreach(pattern IN LISTS ARGN)
    if(NOT text MATCHES "${pattern}")
      string(APPEND failures "\n  ${what}: no match for ${pattern}")
    endif()
  endforeach()
  set(failures "${failures}" PARENT_SCOPE)
endfunction()

# The documented command: the sh block of "## On the root file system" that
# starts with cpack, run by the cpack beside this cmake.
file(READ "${OVT_SOURCE_DIR}/docs/integration.md" document)
string(FIND "${document}" "\n## On the root file system\n" start)
set(section "")
if(start GREATER -1)
  string(SUBSTRING "${document}" ${start} -1 section)
  string(REGEX REPLACE "(.)\n## .*" "\\1" section "${section}")
endif()
if(NOT section MATCHES "\n```sh\n(cpack [^`]*)```")
  message(FATAL_ERROR "docs/integration.md: no cpack command under "
    "'## On the root file system'")
endif()
string(REPLACE "build/target-arm" "${OVT_BUILD_DIR}" command
  "${CMAKE_MATCH_1}")
get_filename_component(cmake_bin "${CMAKE_COMMAND}" DIRECTORY)
set(ENV{PATH} "${cmake_bin}:$ENV{PATH}")
file(REMOVE_RECURSE "${OVT_WORK_DIR}" "${OVT_PACKAGE_DIR}")
file(GLOB checkout_before LIST_DIRECTORIES true "${OVT_SOURCE_DIR}/*")
execute_process(COMMAND sh -e -x -c "${command}"
  WORKING_DIRECTORY "${OVT_SOURCE_DIR}"
  OUTPUT_VARIABLE cpack_output ERROR_VARIABLE cpack_output
  RESULT_VARIABLE result)
message("== ${command}\n${cpack_output}")
file(GLOB checkout_after LIST_DIRECTORIES true "${OVT_SOURCE_DIR}/*")
list(REMOVE_ITEM checkout_after ${checkout_before})
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the documented cpack command failed (${result})")
endif()
if(checkout_after)
  list(JOIN checkout_after "\n  " checkout_after)
  message(FATAL_ERROR "the documented cpack command wrote into the "
    "checkout:\n  ${checkout_after}")
endif()

set(lib "./usr/${OVT_LIBDIR}")
set(runtime "${ovt_runtime_package}")
set(runtime_deb "${OVT_PACKAGE_DIR}/${runtime}_${OVT_VERSION}_${OVT_ARCH}.deb")
set(dev "${ovt_development_package}")
set(dev_deb "${OVT_PACKAGE_DIR}/${dev}_${OVT_VERSION}_${OVT_ARCH}.deb")
string(REPLACE "." "\\." version_pattern "${OVT_VERSION}")

foreach(deb IN ITEMS "${runtime_deb}" "${dev_deb}")
  ovt_run(info dpkg-deb --info "${deb}")
  ovt_run(contents dpkg-deb --contents "${deb}")
  get_filename_component(name "${deb}" NAME)
  message("== ${name}\n${info}${contents}")
  ovt_expect("${info}" "${name} control"
    "\n Architecture: ${OVT_ARCH}\n" "\n Version: ${version_pattern}\n")
  if(deb STREQUAL runtime_deb)
    set(expected ${ovt_files_runtime})
    # Computed from the library: the C and C++ runtimes of its architecture.
    ovt_expect("${info}" "${name} control"
      "\n Package: ${runtime}\n"
      "\n Depends: [^\n]*libc6[^\n]*\\(>= [0-9.]+\\)"
      "\n Depends: [^\n]*libstdc\\+\\+6")
    # The platform opens the module as libOvtTrafHandler.so.
    ovt_expect("${contents}" "${name} links"
      " ${lib}/libOvtTrafHandler\\.so\\.${ovt_major} -> libOvtTrafHandler\\.so\\.${version_pattern}\n"
      " ${lib}/libOvtTrafHandler\\.so -> libOvtTrafHandler\\.so\\.${ovt_major}\n")
    # The board's package names, not the build machine's cross packages.
    if(info MATCHES "\n Depends: [^\n]*-cross")
      string(APPEND failures "\n  ${name} depends on a cross-toolchain package")
    endif()
  else()
    set(expected ${ovt_files_development} ${ovt_files_testing})
    ovt_expect("${info}" "${name} control"
      "\n Package: ${dev}\n"
      "\n Depends: ${runtime} \\(= ${version_pattern}\\)\n")
  endif()
  # Every entry, directories included: the expected files under ./usr/ and
  # the directories that lead to them.
  list(TRANSFORM expected PREPEND "./usr/")
  foreach(file IN LISTS expected)
    get_filename_component(parent "${file}" DIRECTORY)
    while(NOT parent STREQUAL ".")
      list(APPEND expected "${parent}/")
      get_filename_component(parent "${parent}" DIRECTORY)
    endwhile()
  endforeach()
  list(REMOVE_DUPLICATES expected)
  string(REGEX MATCHALL "[^\n]+" entries "${contents}")
  list(TRANSFORM entries REPLACE "^[^ ]+ +[^ ]+ +[0-9]+ +[^ ]+ +[^ ]+ " "")
  list(TRANSFORM entries REPLACE " -> .*$" "")
  ovt_compare_file_lists("${name} entries" "${expected}" "${entries}")
endforeach()

# Both packages install into one root: dpkg refuses to unpack a file that
# another package already holds.
set(root "${OVT_WORK_DIR}/root")
file(MAKE_DIRECTORY "${root}/var/lib/dpkg/info" "${root}/var/lib/dpkg/updates")
file(TOUCH "${root}/var/lib/dpkg/status")
ovt_run(ignored dpkg "--root=${root}" --force-not-root --force-architecture
  --log=/dev/null --unpack "${runtime_deb}" "${dev_deb}")
# The licence, in Debian's machine-readable format with the full text.
foreach(package IN ITEMS ${runtime} ${dev})
  set(copyright_file "${root}/usr/share/doc/${package}/copyright")
  if(EXISTS "${copyright_file}")
    file(READ "${copyright_file}" copyright)
  else()
    set(copyright "")
  endif()
  ovt_expect("${copyright}" "${package} copyright"
    "^Format: https://www\\.debian\\.org/doc/packaging-manuals/copyright-format/1\\.0/\n"
    "\n\nFiles: \\*\nCopyright: [^\n]+\nLicense: Apache-2\\.0\n"
    "\n\nLicense: Apache-2\\.0\n +Apache License\n +Version 2\\.0, January 2004\n"
    "\n \\.\n +END OF TERMS AND CONDITIONS\n"
    "\n +limitations under the License\\.\n$")
endforeach()

# Stripped: no debugging sections left in the packaged library.
set(extracted "${OVT_WORK_DIR}/extracted")
ovt_run(ignored dpkg-deb --extract "${runtime_deb}" "${extracted}")
ovt_run(sections "${OVT_READELF}" --section-headers
  "${extracted}/usr/${OVT_LIBDIR}/libOvtTrafHandler.so.${OVT_VERSION}")
if(sections MATCHES "\\.debug_")
  string(APPEND failures "\n  the packaged library is not stripped")
endif()

# The runtime package alone: the loader searches its library directory and
# the stand-in platform's, and nothing else holds the module.
string(REPLACE "|" ";" programs "${OVT_PROGRAMS}")
string(REPLACE "|" ";" emulator "${OVT_EMULATOR}")
set(rootfs_lib "${extracted}/usr/${OVT_LIBDIR}")
list(GET programs 0 opens_by_name)
list(GET programs 1 linked)
foreach(case IN ITEMS "${opens_by_name}|libOvtTrafHandler.so"
                      "${linked}|libOvtTrafHandler.so.${ovt_major}")
  string(REPLACE "|" ";" case "${case}")
  list(GET case 0 program)
  list(GET case 1 file_name)
  execute_process(
    COMMAND "${CMAKE_COMMAND}" -E env
      "LD_LIBRARY_PATH=${rootfs_lib}:${OVT_STANDIN_LIBRARY_DIR}"
      ${emulator} "${program}"
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
  get_filename_component(program_name "${program}" NAME)
  message("== ${program_name} on the runtime package alone\n${output}")
  string(FIND "${output}" "module: ${rootfs_lib}/${file_name}\n" found)
  if(NOT result EQUAL 0 OR found EQUAL -1)
    string(APPEND failures "\n  ${program_name} did not find the module as "
      "${file_name} in the runtime package (status ${result})")
  endif()
endforeach()

if(failures)
  message(FATAL_ERROR "Debian packages not as expected:${failures}")
endif()
message(STATUS "Debian packages for ${OVT_ARCH} as expected")
