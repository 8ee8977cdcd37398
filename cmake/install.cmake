# Everything is installed where CUPS looks for it (cups_places.cmake).

# CUPS refuses to run a filter that users other than its owner can write to.
set(program_permissions OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                        WORLD_READ WORLD_EXECUTE)
install(TARGETS rastertok905 rastertok905job
        RUNTIME DESTINATION ${K905_CUPS_SERVERBIN}/filter PERMISSIONS ${program_permissions})
# CUPS starts a backend as root only if no other user may execute it. The backend opens the printer's device and the
# folder of its records, then gives up root.
install(TARGETS k905 RUNTIME DESTINATION ${K905_CUPS_SERVERBIN}/backend
        PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
install(FILES ${K905_PPD_FILES} DESTINATION ${K905_MODEL_FOLDER})

# CUPS finds the photo filter by these types and conversions; without them CUPS converts photos with its own filter.
if(TARGET phototok905)
  install(TARGETS phototok905
          RUNTIME DESTINATION ${K905_CUPS_SERVERBIN}/filter PERMISSIONS ${program_permissions})
  install(FILES ${CMAKE_SOURCE_DIR}/apps/photo/k905-photo.types
                ${CMAKE_SOURCE_DIR}/apps/photo/k905-photo.convs
          DESTINATION ${K905_CUPS_DATADIR}/mime)
endif()

# Only the tools that are built.
set(installed_tools)
foreach(tool k905-preview k905-print k905-raster k905-setup k905-sim k905-status)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
            PERMISSIONS ${program_permissions})
    list(APPEND installed_tools ${tool})
  endif()
endforeach()

# bash looks for a file with the program's name.
foreach(tool ${installed_tools})
  install(FILES ${CMAKE_SOURCE_DIR}/apps/completion/k905.bash RENAME ${tool}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()

# The service for watched folders, and its user.
if(TARGET k905-print)
  configure_file(${CMAKE_SOURCE_DIR}/packaging/systemd/k905-watch@.service.in
                 ${CMAKE_BINARY_DIR}/k905-watch@.service @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/k905-watch@.service DESTINATION lib/systemd/system)
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/systemd/k905-watch.sysusers RENAME k905-watch.conf
          DESTINATION lib/sysusers.d)
endif()

# docs/man/NAME.SECTION goes to man<SECTION>.
file(GLOB manual_pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/*.[1-9])
foreach(page ${manual_pages})
  string(REGEX MATCH "[1-9]$" section ${page})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()

configure_file(${CMAKE_SOURCE_DIR}/cmake/uninstall.cmake.in ${CMAKE_BINARY_DIR}/uninstall.cmake @ONLY)
add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -P ${CMAKE_BINARY_DIR}/uninstall.cmake
  COMMENT "Removing what the last install put in place" VERBATIM)
