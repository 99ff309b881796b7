# Run by CPack behind packing: it gives a package with a shared library scripts that call ldconfig, next to the trigger that
# is Debian's way to do the same. The scripts go.
find_program(DPKG_DEB dpkg-deb REQUIRED)
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(tree "${CPACK_TOPLEVEL_DIRECTORY}/finish")
  file(REMOVE_RECURSE "${tree}")
  execute_process(COMMAND "${DPKG_DEB}" -R "${package}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS "${tree}/DEBIAN/triggers")
    file(REMOVE "${tree}/DEBIAN/postinst" "${tree}/DEBIAN/postrm")
    execute_process(COMMAND "${DPKG_DEB}" --root-owner-group -Zgzip -b "${tree}" "${package}"
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE "${tree}")
endforeach()
