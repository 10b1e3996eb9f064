# SPDX-License-Identifier: Apache-2.0
# Installation and the OvtTrafHandler package: what integrators put into a
# target root file system and what client-module developers build against.
#
# Components (`cmake --install <build> --component <name>`):
#   runtime      libOvtTrafHandler.so.<version>, its SONAME link and the
#                unversioned link libOvtTrafHandler.so, the name the
#                platform opens the module by
#   development  ITrafHandler.h, TarvikTrafHandler.h (the lifecycle calls),
#                the platform declarations, the CMake package and the
#                pkg-config files
#   testing      the test-support headers for client modules
#   standin      the host stand-in platform (registry, module manager, HCC-D
#                handler, drivers, frame formats, trace), for trying a client
#                module or a platform program without the board; installed
#                only when asked for by name, so that it never reaches a
#                target root file system, where the platform lives
# The simulator and the tests are not installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(OVT_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/OvtTrafHandler)
set(OVT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/OvtTrafHandler)

install(TARGETS OvtTrafHandler
  EXPORT OvtTrafHandlerTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime
  FILE_SET HEADERS DESTINATION ${OVT_INSTALL_INCLUDEDIR}
    COMPONENT development)
install(TARGETS ovt_traf_handler_client
  EXPORT OvtTrafHandlerTargets
  FILE_SET HEADERS DESTINATION ${OVT_INSTALL_INCLUDEDIR}
    COMPONENT development)
install(TARGETS ovt_platform_headers
  EXPORT OvtTrafHandlerTargets
  FILE_SET HEADERS DESTINATION ${OVT_INSTALL_INCLUDEDIR}/platform
    COMPONENT development)
install(EXPORT OvtTrafHandlerTargets
  NAMESPACE OvtTrafHandler::
  DESTINATION ${OVT_INSTALL_CMAKEDIR}
  COMPONENT development)

install(TARGETS ovt_traf_handler_testing
  EXPORT OvtTrafHandlerTestingTargets
  FILE_SET HEADERS DESTINATION ${OVT_INSTALL_INCLUDEDIR}
    COMPONENT testing)
install(EXPORT OvtTrafHandlerTestingTargets
  NAMESPACE OvtTrafHandler::
  DESTINATION ${OVT_INSTALL_CMAKEDIR}
  COMPONENT testing)

install(TARGETS
    ovt_standin_faults ovt_standin_trace ovt_standin_registry
    ovt_standin_frame_format
    ovt_standin_drivers ovt_standin_module_manager ovt_standin_hccd
    ovt_platform_standin
  EXPORT OvtTrafHandlerStandinTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT standin
    NAMELINK_COMPONENT standin
    EXCLUDE_FROM_ALL
  FILE_SET HEADERS DESTINATION ${OVT_INSTALL_INCLUDEDIR}/standin
    COMPONENT standin
    EXCLUDE_FROM_ALL)
install(EXPORT OvtTrafHandlerStandinTargets
  NAMESPACE OvtTrafHandler::
  DESTINATION ${OVT_INSTALL_CMAKEDIR}
  COMPONENT standin
  EXCLUDE_FROM_ALL)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/OvtTrafHandlerConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/OvtTrafHandlerConfig.cmake
  INSTALL_DESTINATION ${OVT_INSTALL_CMAKEDIR})
# Not architecture-independent: a 64-bit host build must not pick up the
# package of the 32-bit board.
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/OvtTrafHandlerConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/OvtTrafHandlerConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/OvtTrafHandlerConfigVersion.cmake
  DESTINATION ${OVT_INSTALL_CMAKEDIR}
  COMPONENT development)

# pkg-config files: OvtTrafHandler (client modules: headers, no library),
# OvtTrafHandlerLibrary (the platform: the library), OvtTrafHandlerTesting
# and OvtTrafHandlerStandin. Their paths are relative to the file itself
# (${pcfiledir}), so that an installed tree still works when moved.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  message(FATAL_ERROR "CMAKE_INSTALL_LIBDIR must be relative to the prefix")
endif()
file(RELATIVE_PATH OVT_PC_TO_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" OVT_PC_TO_PREFIX "${OVT_PC_TO_PREFIX}")
function(ovt_install_pkg_config name)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/pkgconfig/${name}.pc.in
    ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig ${ARGN})
endfunction()
ovt_install_pkg_config(OvtTrafHandler COMPONENT development)
ovt_install_pkg_config(OvtTrafHandlerLibrary COMPONENT development)
ovt_install_pkg_config(OvtTrafHandlerTesting COMPONENT testing)
# The whole stand-in platform, as its target lists it: every facility is
# loaded, even one the program never calls, since a module loaded later
# resolves its platform symbols against them.
get_target_property(OVT_PC_STANDIN_LIBS ovt_platform_standin
  INTERFACE_LINK_LIBRARIES)
list(FILTER OVT_PC_STANDIN_LIBS INCLUDE REGEX "^ovt_standin_")
list(TRANSFORM OVT_PC_STANDIN_LIBS PREPEND -l)
list(JOIN OVT_PC_STANDIN_LIBS " " OVT_PC_STANDIN_LIBS)
ovt_install_pkg_config(OvtTrafHandlerStandin COMPONENT standin EXCLUDE_FROM_ALL)

include(${CMAKE_CURRENT_LIST_DIR}/DebianPackages.cmake)
