# What `cmake --install` puts into a folder, in two components: "runtime", what a machine gets, and "sdk", for those who
# write hosts, the library's public headers, import library and contracts, found by find_package(Quorline).
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Quorline)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/quorline)

install(TARGETS quorline quorline-watch quorline-sign RUNTIME COMPONENT runtime)
install(FILES $<TARGET_FILE:QuorlineHost> $<TARGET_FILE:QuorlineSigner> ${QUORLINE_RUNTIME_DLLS}
        DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/THIRD-PARTY-NOTICES.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/samples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime
        PATTERN "*.sh" EXCLUDE)

install(TARGETS Quorline QuorlineIdl HostInterfacesIdl EXPORT QuorlineTargets
        RUNTIME COMPONENT runtime
        ARCHIVE COMPONENT sdk
        PUBLIC_HEADER DESTINATION ${header_dir} COMPONENT sdk
        FILE_SET HEADERS DESTINATION ${header_dir} COMPONENT sdk
        INCLUDES DESTINATION ${header_dir})
install(EXPORT QuorlineTargets NAMESPACE Quorline:: DESTINATION ${package_dir} COMPONENT sdk)

# The contracts as such, for hosts in other languages.
foreach(contract IN ITEMS Quorline HostInterfaces ScriptSigner)
    install(FILES ${PROJECT_SOURCE_DIR}/idl/${contract}.idl
            $<TARGET_PROPERTY:${contract}Idl,TYPE_LIBRARY> DESTINATION idl COMPONENT sdk)
endforeach()

list(TRANSFORM QUORLINE_RUNTIME_DLLS REPLACE ".*/" "" OUTPUT_VARIABLE runtime_dll_names)
list(JOIN runtime_dll_names " " runtime_dll_names)
configure_package_config_file(cmake/QuorlineConfig.cmake.in ${PROJECT_BINARY_DIR}/package/QuorlineConfig.cmake
    INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_BINDIR NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/QuorlineConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/QuorlineConfig.cmake
    ${PROJECT_BINARY_DIR}/package/QuorlineConfigVersion.cmake DESTINATION ${package_dir} COMPONENT sdk)
