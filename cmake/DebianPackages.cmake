# SPDX-License-Identifier: Apache-2.0
# Debian packages of the install components, built with CPack
# (`cpack -G DEB --config <build>/CPackConfig.cmake`, into <build>/packages/):
#
#   libovttrafhandler<major>   runtime: the stripped library, its SONAME
#                              link and libOvtTrafHandler.so, for the board's
#                              root file system
#   libovttrafhandler-dev      development: the headers, the CMake package
#                              and the pkg-config files; depends on the
#                              runtime package, which brings the link the
#                              linker reads
#
# Each holds share/doc/<package>/copyright, the licence.
#
# The architecture is the one of the compiler (armhf in the board build) and
# the run-time dependencies are computed by dpkg-shlibdeps from the library.
# A cross build points dpkg-shlibdeps at the target's C and C++ runtimes in
# the toolchain's sysroot; the Debian cross packages that ship them record
# the board's package names (libc6:armhf, ...) in their shlibs files.
find_program(OVT_DPKG_ARCHITECTURE dpkg-architecture)
if(OVT_DPKG_ARCHITECTURE AND CMAKE_LIBRARY_ARCHITECTURE)
  execute_process(
    COMMAND ${OVT_DPKG_ARCHITECTURE} -t ${CMAKE_LIBRARY_ARCHITECTURE}
      -qDEB_HOST_ARCH
    OUTPUT_VARIABLE OVT_DEB_ARCH
    OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
endif()
if(OVT_DEB_ARCH)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${OVT_DEB_ARCH})
endif()

set(CPACK_PACKAGE_NAME libovttrafhandler)
set(CPACK_PACKAGE_VENDOR "OvtTrafHandler developers")
set(CPACK_PACKAGE_CONTACT "OvtTrafHandler developers <trafhandler@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The packages and CPack's scratch directory go into the build tree, not
# into the directory cpack happens to run in (often the checkout's root).
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

# Test-support headers belong with the development files; the stand-in
# platform is never packaged.
set(CPACK_COMPONENTS_ALL runtime development testing)
set(CPACK_COMPONENT_RUNTIME_GROUP runtime)
set(CPACK_COMPONENT_DEVELOPMENT_GROUP development)
set(CPACK_COMPONENT_TESTING_GROUP development)

set(OVT_DEB_RUNTIME_NAME libovttrafhandler${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${OVT_DEB_RUNTIME_NAME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# A shlibs file, so that packages built against it get their dependency
# computed too.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libovttrafhandler-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${OVT_DEB_RUNTIME_NAME} (= ${PROJECT_VERSION})")

# The licence in Debian's machine-readable copyright format, with the full
# text: a board's root file system need not have /usr/share/common-licenses.
# In that format a continuation line starts with a blank, and an empty line
# is written " .".
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/LICENSE)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE OVT_LICENSE_TEXT)
string(STRIP "${OVT_LICENSE_TEXT}" OVT_LICENSE_TEXT)
string(REPLACE "\n" "\n " OVT_LICENSE_TEXT " ${OVT_LICENSE_TEXT}")
string(REPLACE "\n \n" "\n .\n" OVT_LICENSE_TEXT "${OVT_LICENSE_TEXT}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian-copyright.in
  ${PROJECT_BINARY_DIR}/copyright @ONLY)
foreach(component IN ITEMS RUNTIME DEVELOPMENT)
  string(TOLOWER ${component} install_component)
  install(FILES ${PROJECT_BINARY_DIR}/copyright
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}
    COMPONENT ${install_component})
endforeach()

# The board's package names for the cross toolchain's runtimes, taken from
# the toolchain packages' own shlibs files (see CPackCrossShlibs.cmake).
if(CMAKE_CROSSCOMPILING AND OVT_DEB_ARCH)
  file(GLOB OVT_CROSS_SHLIBS_FILES
    /var/lib/dpkg/info/*-${OVT_DEB_ARCH}-cross.shlibs)
  set(CPACK_OVT_SHLIBS_LOCAL ${PROJECT_BINARY_DIR}/cpack/shlibs.local)
  file(WRITE ${CPACK_OVT_SHLIBS_LOCAL} "")
  foreach(shlibs IN LISTS OVT_CROSS_SHLIBS_FILES)
    file(READ ${shlibs} lines)
    file(APPEND ${CPACK_OVT_SHLIBS_LOCAL} "${lines}")
  endforeach()
  set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/CPackCrossShlibs.cmake)
endif()
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSROOT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_SYSROOT}/lib)
elseif(CMAKE_CROSSCOMPILING AND OVT_TARGET_SYSROOT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${OVT_TARGET_SYSROOT}/lib)
endif()

include(CPack)
