# Where things stand when installed, below the prefix; Debian's layout, whatever the prefix is.
# Of type STRING: cmake would make a relative PATH absolute that its command line gives without a type,
# as debhelper does.
set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}" CACHE STRING "libraries")
include(GNUInstallDirs)
# All that programs run with; what they are built with is the component `dev`.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)
set(RF_SAR_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/rf_sar)          # the plug-in and its platform
set(RF_SAR_GDAL_PLUGIN_DIR ${CMAKE_INSTALL_LIBDIR}/gdalplugins) # where Debian's GDAL looks
