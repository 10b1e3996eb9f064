# Part of the install script: writes OvtTrafHandler.pc for the prefix being
# installed to and installs it (DESTDIR applies as to every installed file).
#
# Expects OVT_PC_TEMPLATE, OVT_PC_WORK_DIR, OVT_PC_LIBDIR, OVT_PC_INCLUDEDIR,
# OVT_PC_VERSION and OVT_PC_DESCRIPTION; CMAKE_INSTALL_PREFIX is the prefix of
# this installation.

# Directories below the prefix are written relative to ${prefix}, so that a
# sysroot-aware pkg-config can move them.
function(ovt_pc_directory out directory)
  if(IS_ABSOLUTE "${directory}")
    set(${out} "${directory}" PARENT_SCOPE)
  else()
    set(${out} "\${prefix}/${directory}" PARENT_SCOPE)
  endif()
endfunction()

set(OVT_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
ovt_pc_directory(OVT_PC_LIBDIR_VALUE "${OVT_PC_LIBDIR}")
ovt_pc_directory(OVT_PC_INCLUDEDIR_VALUE "${OVT_PC_INCLUDEDIR}")
if(IS_ABSOLUTE "${OVT_PC_LIBDIR}")
  set(ovt_pc_destination "${OVT_PC_LIBDIR}/pkgconfig")
else()
  set(ovt_pc_destination "${CMAKE_INSTALL_PREFIX}/${OVT_PC_LIBDIR}/pkgconfig")
endif()

# One work file per destination: installations to several prefixes may run
# at the same time from one build tree.
string(MD5 ovt_pc_key "$ENV{DESTDIR}${ovt_pc_destination}")
set(ovt_pc_file "${OVT_PC_WORK_DIR}/${ovt_pc_key}/OvtTrafHandler.pc")
configure_file("${OVT_PC_TEMPLATE}" "${ovt_pc_file}" @ONLY)
file(INSTALL DESTINATION "${ovt_pc_destination}" TYPE FILE
  FILES "${ovt_pc_file}")
