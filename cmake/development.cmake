# What programs of others build on: headers, a CMake package `rf_sar`
# with the targets rf_sar::platform and rf_sar::rs2, and the same for pkg-config. Paths are found
# from where the files lie, so that an installed tree can be moved.
include(CMakePackageConfigHelpers)
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/rf_sar)
set(lmx ${PROJECT_SOURCE_DIR}/platform/lmx)
set(binding ${PROJECT_BINARY_DIR}/rf_sar/rs2_lmx/source)

install(FILES ${PROJECT_SOURCE_DIR}/platform/rf_platform_api.h
              ${binding}/rs2prod.h ${binding}/rs2prod_lut.h
        DESTINATION ${headers} COMPONENT dev)
install(FILES ${lmx}/lmx.h ${lmx}/big_int.h ${lmx}/datetime.h ${lmx}/error.h ${lmx}/list_tokeniser.h
              ${lmx}/ns_map.h ${lmx}/object.h ${lmx}/pattern.h ${lmx}/simple_type.h
              ${lmx}/xml_reader.h ${lmx}/xml_writer.h
        DESTINATION ${headers}/lmx COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/rf_sar/records DESTINATION ${headers} COMPONENT dev
        FILES_MATCHING PATTERN "*.h")
# The generator, for bindings of other schemas.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tools/lmxgen DESTINATION ${CMAKE_INSTALL_DATADIR}/rf_sar
        COMPONENT dev USE_SOURCE_PERMISSIONS PATTERN "__pycache__" EXCLUDE)

set(generated ${PROJECT_BINARY_DIR}/development)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/rf_sar)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/rf_sarConfig.cmake.in
    ${generated}/rf_sarConfig.cmake INSTALL_DESTINATION ${package_dir}
    PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_DATADIR RF_SAR_INSTALL_DIR
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Until 1.0.0 each minor version may change the interface.
write_basic_package_version_file(${generated}/rf_sarConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${generated}/rf_sarConfig.cmake ${generated}/rf_sarConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT dev)

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH to_prefix /prefix/${pkgconfig_dir} /prefix)
foreach(part platform rs2)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/rf_sar-${part}.pc.in
                   ${generated}/rf_sar-${part}.pc @ONLY)
    install(FILES ${generated}/rf_sar-${part}.pc DESTINATION ${pkgconfig_dir} COMPONENT dev)
endforeach()
