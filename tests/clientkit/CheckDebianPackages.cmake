# Builds the Debian packages of the build tree OVT_BUILD_DIR with CPack into
# a scratch directory and checks what dpkg-deb shows of them: name,
# architecture, version and dependencies, and the files of each package.
# The runtime package holds the stripped library and its SONAME link only.
#
#   cmake -DOVT_BUILD_DIR=... -DOVT_WORK_DIR=... -DOVT_CPACK_COMMAND=...
#         -DOVT_ARCH=amd64|armhf -DOVT_VERSION=... -DOVT_LIBDIR=lib
#         -DOVT_READELF=... -P CheckDebianPackages.cmake
foreach(required OVT_BUILD_DIR OVT_WORK_DIR OVT_CPACK_COMMAND OVT_ARCH
                 OVT_VERSION OVT_LIBDIR OVT_READELF)
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
set(dev_deb "${OVT_WORK_DIR}/libovttrafhandler-dev_${OVT_VERSION}_${OVT_ARCH}.deb")
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
    ovt_expect("${contents}" "${name} files"
      " ${lib}/libOvtTrafHandler\\.so\\.${version_pattern}\n"
      " ${lib}/libOvtTrafHandler\\.so\\.${major} -> libOvtTrafHandler\\.so\\.${version_pattern}\n")
    # The board's package names, not the build machine's cross packages.
    if(info MATCHES "\n Depends: [^\n]*-cross")
      string(APPEND failures "\n  ${name} depends on a cross-toolchain package")
    endif()
    if(contents MATCHES "/include/|\\.so ->")
      string(APPEND failures "\n  ${name} holds development files")
    endif()
  else()
    ovt_expect("${info}" "${name} control"
      "\n Package: libovttrafhandler-dev\n"
      "\n Depends: ${runtime} \\(= ${version_pattern}\\)\n")
    ovt_expect("${contents}" "${name} files"
      " ${lib}/libOvtTrafHandler\\.so -> libOvtTrafHandler\\.so\\.${major}\n"
      " ${inc}/ITrafHandler\\.h\n"
      " ${inc}/TarvikTrafHandler\\.h\n"
      " ${inc}/platform/HccdHandlerBase\\.h\n"
      " ${inc}/testing/MockTrafHandler\\.h\n"
      " ${lib}/cmake/OvtTrafHandler/OvtTrafHandlerConfig\\.cmake\n"
      " ${lib}/pkgconfig/OvtTrafHandler\\.pc\n"
      " ${lib}/pkgconfig/OvtTrafHandlerLibrary\\.pc\n")
    if(contents MATCHES "libOvtTrafHandler\\.so\\.${version_pattern}|standin")
      string(APPEND failures "\n  ${name} holds runtime or stand-in files")
    endif()
  endif()
endforeach()

# Stripped: no debugging sections left in the packaged library.
set(extracted "${OVT_WORK_DIR}/extracted")
ovt_run(ignored dpkg-deb --extract "${runtime_deb}" "${extracted}")
ovt_run(sections "${OVT_READELF}" --section-headers
  "${extracted}/usr/${OVT_LIBDIR}/libOvtTrafHandler.so.${OVT_VERSION}")
if(sections MATCHES "\\.debug_")
  string(APPEND failures "\n  the packaged library is not stripped")
endif()

if(failures)
  message(FATAL_ERROR "Debian packages not as expected:${failures}")
endif()
message(STATUS "Debian packages for ${OVT_ARCH} as expected")
