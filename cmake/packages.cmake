# The Debian packages: scripts/debs makes them.
#
#   libtalvcodec0      the shared libraries: the codec, and the searching encoder
#   libtalvcodec-dev   headers, static libraries, CMake package, pkg-config files; libtalvhost too
#   talvcodec-tools    talv, its manual page and completions, and what tells desktops and file(1) of .talv files
#
# Their paths are those of the prefix /usr, and only a tree that was configured for it can be packed.
if(NOT TALV_PACKAGES)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_STRIP_FILES ON)
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/packages-stage.cmake")
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/packages-finish.cmake")

# Who packs it, told the way of Debian's own tools
if(NOT "$ENV{DEBFULLNAME}" STREQUAL "" AND NOT "$ENV{DEBEMAIL}" STREQUAL "")
  set(talv_packager "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
else()
  set(talv_packager "The talvcodec authors <talvcodec@example.org>")
endif()
set(TALV_PACKAGER "${talv_packager}" CACHE STRING "Maintainer of the Debian packages")
set(CPACK_PACKAGE_CONTACT "${TALV_PACKAGER}")

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}" "${PROJECT_BINARY_DIR}/search")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE "${PROJECT_BINARY_DIR}/packages/triggers" "activate-noawait ldconfig\n")
set(talv_deb_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libtalvcodec${talv_ABI_VERSION})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/packages/triggers")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "speech codec at 2000 bit/s: shared library
A codec for narrow-band speech that turns 30 ms of it into 8 bytes and back,
with the same result on every machine.

This package holds the shared library, and libtalvsearch, an encoder that
searches for the frames that sound best.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtalvcodec-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libtalvcodec${talv_ABI_VERSION} (= ${talv_deb_version})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "speech codec at 2000 bit/s: development files
A codec for narrow-band speech that turns 30 ms of it into 8 bytes and back,
with the same result on every machine.

This package holds what is needed to build programs on the library, and
libtalvhost, a small library for programs that carry its frames: their fields,
and what stands in for lost ones.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME talvcodec-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libtalvcodec${talv_ABI_VERSION} (= ${talv_deb_version})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "speech codec at 2000 bit/s: command-line tool
A codec for narrow-band speech that turns 30 ms of it into 8 bytes and back,
with the same result on every machine.

This package holds talv, which codes recordings of any format into small files
and back, tells what is in them, draws them, and simulates channels.")

include(CPack)
