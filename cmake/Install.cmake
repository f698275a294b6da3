# The package H265ParameterSets: find_package( H265ParameterSets ) gives the same target names as add_subdirectory.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

foreach(LIBRARY IN LISTS H265PS_LIBRARIES)
    install(TARGETS ${LIBRARY} EXPORT H265ParameterSetsTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/h265ps)
endforeach()
install(TARGETS ${H265PS_INTERFACES} EXPORT H265ParameterSetsTargets)
install(EXPORT H265ParameterSetsTargets NAMESPACE H265ParameterSets::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/H265ParameterSets)
configure_package_config_file(cmake/H265ParameterSetsConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/H265ParameterSets)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/H265ParameterSets)
