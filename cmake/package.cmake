# `cmake --build --preset release --target package` makes a Debian package out of what is installed.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rastertok905)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "rastertok905 maintainers <rastertok905@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "print filter and tools for K905 dye-sublimation photo printers")
set(CPACK_PACKAGE_DESCRIPTION
"Prints photographs on the K905 and its siblings RV-40, RV-40W and RS-30 from
any program that prints through CUPS: the filter, the queue files (PPD), a
program that makes and checks queues, one that prints photos straight to the
sheet, and tools that draw pages, show what the printer would make of a job,
and stand in for a printer.")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION text)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# The libraries are found by dpkg. What else a job needs: the scheduler with its USB and network
# backends (cups), the filters that make raster of pictures and documents (cups-filters), and
# Ghostscript, which they start for documents. k905-setup's lpadmin comes with cups.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "cups, cups-filters, ghostscript")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "icc-profiles-free")

# After an upgrade the queues follow; after a purge the backend's records are gone.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_SOURCE_DIR}/packaging/postinst ${CMAKE_SOURCE_DIR}/packaging/postrm)

# What only a package has: compressed manual pages, changelog, the word on copyright.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/debian_files.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_BINARY_DIR}/package_places.cmake)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/package_places.cmake
     CONTENT "set(K905_PACKAGING_FOLDER \"${CMAKE_SOURCE_DIR}/packaging\")\n" @ONLY)
include(CPack)
