# Run by CPack between installing into its staging folder and packing that folder.
set(root "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
set(documents "${root}/usr/share/doc/${CPACK_PACKAGE_NAME}")
set(for_everybody OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

file(MAKE_DIRECTORY "${documents}")
file(COPY "${K905_PACKAGING_FOLDER}/copyright" "${K905_PACKAGING_FOLDER}/changelog"
     DESTINATION "${documents}" FILE_PERMISSIONS ${for_everybody})
file(RENAME "${documents}/changelog" "${documents}/changelog.Debian")

# -n: no time of building, so that the same source gives the same package.
file(GLOB pages "${root}/usr/share/man/man?/*.[1-9]")
foreach(file ${pages} "${documents}/changelog.Debian")
  execute_process(COMMAND gzip -9n "${file}" COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD "${file}.gz" PERMISSIONS ${for_everybody})
endforeach()

# CPack packs folders as the packer's umask made them; CUPS runs nothing out of a folder that it
# cannot look into.
file(GLOB_RECURSE folders LIST_DIRECTORIES true "${root}/*")
foreach(folder "${root}" ${folders})
  if(IS_DIRECTORY "${folder}")
    file(CHMOD "${folder}" PERMISSIONS ${for_everybody} OWNER_EXECUTE GROUP_EXECUTE WORLD_EXECUTE)
  endif()
endforeach()
