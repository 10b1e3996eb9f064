# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages of the build tree OVT_BUILD_DIR with CPack into
# a scratch directory and checks what dpkg-deb shows of them: name,
# architecture, version and dependencies, and the files of each package.
# The runtime package holds the stripped library, its SONAME link and the
# name libOvtTrafHandler.so; the development package the rest. Both install
# into one root, and each carries the licence. Then, on the runtime package
# alone, the two programs of OVT_PROGRAMS (RuntimePackageProgram.cpp) find
# the module there: one opens it by name, the other is linked against it.
# A cross build runs them under its emulator.
#
#   cmake -DOVT_BUILD_DIR=... -DOVT_WORK_DIR=... -DOVT_CPACK_COMMAND=...
#         -DOVT_ARCH=amd64|armhf -DOVT_VERSION=... -DOVT_LIBDIR=lib
#         -DOVT_READELF=... -DOVT_PROGRAMS=<opens>|<linked>
#         -DOVT_STANDIN_LIBRARY_DIR=... [-DOVT_EMULATOR=qemu-arm|-L|...]
#         -P CheckDebianPackages.cmake
foreach(required OVT_BUILD_DIR OVT_WORK_DIR OVT_CPACK_COMMAND OVT_ARCH
                 OVT_VERSION OVT_LIBDIR OVT_READELF OVT_PROGRAMS
                 OVT_STANDIN_LIBRARY_DIR)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "${required} not given")
  endif()
endforeach()

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

file(REMOVE_RECURSE "${OVT_WORK_DIR}")
ovt_run(cpack_output "${OVT_CPACK_COMMAND}" -G DEB
  --config "${OVT_BUILD_DIR}/CPackConfig.cmake" -B "${OVT_WORK_DIR}")

string(REGEX MATCH "^[0-9]+" major "${OVT_VERSION}")
set(lib "./usr/${OVT_LIBDIR}")
set(inc "./usr/include/OvtTrafHandler")
set(runtime "libovttrafhandler${major}")
set(runtime_deb "${OVT_WORK_DIR}/${runtime}_${OVT_VERSION}_${OVT_ARCH}.deb")
set(dev "libovttrafhandler-dev")
set(dev_deb "${OVT_WORK_DIR}/${dev}_${OVT_VERSION}_${OVT_ARCH}.deb")
string(REPLACE "." "\\." version_pattern "${OVT_VERSION}")

foreach(deb IN ITEMS "${runtime_deb}" "${dev_deb}")
  ovt_run(info dpkg-deb --info "${deb}")
  ovt_run(contents dpkg-deb --contents "${deb}")
  get_filename_component(name "${deb}" NAME)
  message("== ${name}\n${info}${contents}")
  ovt_expect("${info}" "${name} control"
    "\n Architecture: ${OVT_ARCH}\n" "\n Version: ${version_pattern}\n")
  if(deb STREQUAL runtime_deb)
    # Computed from the library: the C and C++ runtimes of its architecture.
    ovt_expect("${info}" "${name} control"
      "\n Package: ${runtime}\n"
      "\n Depends: [^\n]*libc6[^\n]*\\(>= [0-9.]+\\)"
      "\n Depends: [^\n]*libstdc\\+\\+6")
    # The platform opens the module as libOvtTrafHandler.so.
    ovt_expect("${contents}" "${name} files"
      " ${lib}/libOvtTrafHandler\\.so\\.${version_pattern}\n"
      " ${lib}/libOvtTrafHandler\\.so\\.${major} -> libOvtTrafHandler\\.so\\.${version_pattern}\n"
      " ${lib}/libOvtTrafHandler\\.so -> libOvtTrafHandler\\.so\\.${major}\n"
      " ./usr/share/doc/${runtime}/copyright\n")
    # The board's package names, not the build machine's cross packages.
    if(info MATCHES "\n Depends: [^\n]*-cross")
      string(APPEND failures "\n  ${name} depends on a cross-toolchain package")
    endif()
    if(contents MATCHES "/include/|/cmake/|/pkgconfig/")
      string(APPEND failures "\n  ${name} holds development files")
    endif()
  else()
    ovt_expect("${info}" "${name} control"
      "\n Package: ${dev}\n"
      "\n Depends: ${runtime} \\(= ${version_pattern}\\)\n")
    ovt_expect("${contents}" "${name} files"
      " ${inc}/ITrafHandler\\.h\n"
      " ${inc}/TarvikTrafHandler\\.h\n"
      " ${inc}/platform/HccdHandlerBase\\.h\n"
      " ${inc}/testing/MockTrafHandler\\.h\n"
      " ${lib}/cmake/OvtTrafHandler/OvtTrafHandlerConfig\\.cmake\n"
      " ${lib}/pkgconfig/OvtTrafHandler\\.pc\n"
      " ${lib}/pkgconfig/OvtTrafHandlerLibrary\\.pc\n"
      " ./usr/share/doc/${dev}/copyright\n")
    if(contents MATCHES "libOvtTrafHandler\\.so|standin")
      string(APPEND failures "\n  ${name} holds runtime or stand-in files")
    endif()
  endif()
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
                      "${linked}|libOvtTrafHandler.so.${major}")
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
