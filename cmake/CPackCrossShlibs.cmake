# SPDX-License-Identifier: Apache-2.0
# CPack pre-build script of a cross build: before dpkg-shlibdeps runs in a
# package's staging directory, give it a debian/shlibs.local made of the
# cross toolchain's shlibs lines. Those name the board's packages
# (libgcc-s1:armhf); without them dpkg-shlibdeps prefers the cross
# packages' symbols files, which name the build machine's cross packages
# (libgcc-s1-armhf-cross).
#
# Only the packages that run dpkg-shlibdeps get the file: for them CPack
# makes debian/ itself and removes it, file and all, once dpkg-shlibdeps has
# run. In any other package nothing would remove it and the package would
# install /debian/shlibs.local. Each group of components is staged in a
# directory of its own name.
file(GLOB staging_dirs LIST_DIRECTORIES true "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(dir IN LISTS staging_dirs)
  get_filename_component(group "${dir}" NAME)
  string(TOUPPER "${group}" group)
  if(IS_DIRECTORY "${dir}" AND CPACK_DEBIAN_${group}_PACKAGE_SHLIBDEPS)
    file(MAKE_DIRECTORY "${dir}/debian")
    file(COPY_FILE "${CPACK_OVT_SHLIBS_LOCAL}" "${dir}/debian/shlibs.local")
  endif()
endforeach()
