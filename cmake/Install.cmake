# What `cmake --install` puts into a folder: what a machine gets in bin/, and for those who write hosts the library's
# public headers, import library and contracts, found by find_package(Quorline).
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Quorline)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/quorline)

install(TARGETS quorline quorline-sign)
install(FILES $<TARGET_FILE:QuorlineHost> $<TARGET_FILE:QuorlineSigner> ${QUORLINE_RUNTIME_DLLS}
        DESTINATION ${CMAKE_INSTALL_BINDIR})

install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/THIRD-PARTY-NOTICES.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(TARGETS Quorline QuorlineIdl HostInterfacesIdl EXPORT QuorlineTargets
        PUBLIC_HEADER DESTINATION ${header_dir}
        FILE_SET HEADERS DESTINATION ${header_dir}
        INCLUDES DESTINATION ${header_dir})
install(EXPORT QuorlineTargets NAMESPACE Quorline:: DESTINATION ${package_dir})

list(TRANSFORM QUORLINE_RUNTIME_DLLS REPLACE ".*/" "" OUTPUT_VARIABLE runtime_dll_names)
list(JOIN runtime_dll_names " " runtime_dll_names)
configure_package_config_file(cmake/QuorlineConfig.cmake.in ${PROJECT_BINARY_DIR}/package/QuorlineConfig.cmake
    INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_BINDIR NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/QuorlineConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/QuorlineConfig.cmake
    ${PROJECT_BINARY_DIR}/package/QuorlineConfigVersion.cmake DESTINATION ${package_dir})
