# SPDX-License-Identifier: Apache-2.0
# CPack pre-build script of a cross build: before dpkg-shlibdeps runs in each
# package's staging directory, give it a debian/shlibs.local made of the
# cross toolchain's shlibs lines. Those name the board's packages
# (libgcc-s1:armhf); without them dpkg-shlibdeps prefers the cross
# packages' symbols files, which name the build machine's cross packages
# (libgcc-s1-armhf-cross). CPack removes debian/ again before packing.
file(GLOB staging_dirs LIST_DIRECTORIES true "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(dir IN ITEMS "${CPACK_TEMPORARY_DIRECTORY}" ${staging_dirs})
  if(IS_DIRECTORY "${dir}")
    file(MAKE_DIRECTORY "${dir}/debian")
    file(COPY_FILE "${CPACK_OVT_SHLIBS_LOCAL}" "${dir}/debian/shlibs.local")
  endif()
endforeach()
