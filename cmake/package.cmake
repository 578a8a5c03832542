# `cpack -G DEB` in the build folder makes one package of all that is installed.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rf-sar)
set(CPACK_PACKAGE_VENDOR "rf_sar")
set(CPACK_PACKAGE_CONTACT "rf_sar maintainers <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "opens SAR satellite products in GDAL, QGIS and a shell")
set(CPACK_PACKAGE_DESCRIPTION
    "RADARSAT-2, RADARSAT Constellation and Capella products as ordinary raster layers: a plug-in\n\
library for raster hosts, a GDAL driver, and the command line rfsar.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
# What the libraries need, as Debian's own tool reads it from them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gdal-bin")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "qgis, bash-completion")
include(CPack)
