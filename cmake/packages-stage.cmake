# Run by CPack between staging and packing: what Debian asks of every package and other systems do not.
file(GLOB staged "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr")
if(NOT staged)
  message(FATAL_ERROR "nothing was staged in ${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
endif()
find_program(GZIP gzip REQUIRED)

# The date of the changelog is that of the sources, where it is known, so that packing twice gives the same bytes.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)

foreach(usr IN LISTS staged)
  get_filename_component(component "${usr}" DIRECTORY)
  get_filename_component(component "${component}" NAME)
  string(TOUPPER "${component}" component)
  set(package "${CPACK_DEBIAN_${component}_PACKAGE_NAME}")
  set(version "${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
  set(doc "${usr}/share/doc/${package}")

  file(READ "${CPACK_RESOURCE_FILE_LICENSE}" licence)
  file(WRITE "${doc}/copyright" "${licence}")
  file(WRITE "${doc}/changelog.Debian"
    "talvcodec (${version}) unstable; urgency=medium\n\n  * Packed by scripts/debs; CHANGELOG.md tells what is new.\n\n"
    " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")

  # The library lies where the loader looks: the path that makes an installed tree movable goes.
  file(GLOB programs "${usr}/bin/*")
  foreach(program IN LISTS programs)
    file(RPATH_REMOVE FILE "${program}")
  endforeach()

  # Debian's zsh looks for what packages bring under a name of its own.
  if(EXISTS "${usr}/share/zsh/site-functions")
    file(RENAME "${usr}/share/zsh/site-functions" "${usr}/share/zsh/vendor-completions")
  endif()

  file(GLOB_RECURSE manuals "${usr}/share/man/*.[1-9]")
  execute_process(COMMAND "${GZIP}" -9n ${manuals} "${doc}/changelog.Debian" COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB_RECURSE all LIST_DIRECTORIES true "${usr}/*")
  foreach(path IN LISTS all)
    if(IS_SYMLINK "${path}")
      continue()
    elseif(IS_DIRECTORY "${path}" OR path MATCHES "/bin/")
      file(CHMOD "${path}" PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    else()
      file(CHMOD "${path}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
  endforeach()
endforeach()
