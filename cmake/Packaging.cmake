# Installation and the OvtTrafHandler package: what integrators put into a
# target root file system and what client-module developers build against.
#
# Components (`cmake --install <build> --component <name>`):
#   runtime      libOvtTrafHandler.so.<version> and its SONAME link
#   development  the .so link, ITrafHandler.h, the platform declarations,
#                the CMake package and the pkg-config file
#   testing      the test-support headers for client modules
#   standin      the host stand-in of the interface registry; installed only
#                when asked for by name, so that it never reaches a target
#                root file system, where the platform's registry lives
# The simulator, the tests and the rest of the stand-in platform are not
# installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(OVT_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/OvtTrafHandler)
set(OVT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/OvtTrafHandler)

install(TARGETS OvtTrafHandler
  EXPORT OvtTrafHandlerTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime
    NAMELINK_COMPONENT development)
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

install(TARGETS ovt_standin_registry
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

# The pkg-config file names absolute paths, so it is written at install
# time, for the prefix of that installation (`cmake --install --prefix`).
install(CODE "
  set(OVT_PC_TEMPLATE \"${CMAKE_CURRENT_LIST_DIR}/OvtTrafHandler.pc.in\")
  set(OVT_PC_WORK_DIR \"${CMAKE_CURRENT_BINARY_DIR}/pkgconfig\")
  set(OVT_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(OVT_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(OVT_PC_VERSION \"${PROJECT_VERSION}\")
  set(OVT_PC_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
  include(\"${CMAKE_CURRENT_LIST_DIR}/InstallPkgConfig.cmake\")
  " COMPONENT development)
