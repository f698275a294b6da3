# The package H265ParameterSets: find_package( H265ParameterSets ) gives the same target names as add_subdirectory;
# pkg-config has one file for each library and h265ps for all of them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME dev)

install(TARGETS h265ps_Export ${H265PS_LIBRARIES} ${H265PS_INTERFACES} EXPORT H265ParameterSetsTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/h265ps)
install(EXPORT H265ParameterSetsTargets NAMESPACE H265ParameterSets::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/H265ParameterSets)
if(TARGET h265ps_ContainerHost AND H265PS_WITH_ZLIB)
    set(H265PS_FIND_ZLIB "find_dependency(ZLIB)")
endif()
configure_package_config_file(cmake/H265ParameterSetsConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/H265ParameterSets)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/H265ParameterSetsConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/H265ParameterSets)

# The prefix is told relative to the file, so that an installed tree can be moved.
file(RELATIVE_PATH PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" PC_PREFIX "\${pcfiledir}/${PC_PREFIX}")
foreach(KIND IN ITEMS LIBDIR INCLUDEDIR)
    set(PC_${KIND} ${CMAKE_INSTALL_${KIND}})
    if(NOT IS_ABSOLUTE "${PC_${KIND}}")
        set(PC_${KIND} "\${prefix}/${PC_${KIND}}")
    endif()
endforeach()

# h265_install_pkgconfig(FILE DESCRIPTION [REQUIRES ...] [LIBS ...] [PRIVATE ...])
function(h265_install_pkgconfig FILE DESCRIPTION)
    cmake_parse_arguments(PARSE_ARGV 2 PC "" "" "REQUIRES;LIBS;PRIVATE")
    if(NOT BUILD_SHARED_LIBS) # nobody asks for --static when there is nothing else
        list(APPEND PC_LIBS ${PC_PRIVATE})
        set(PC_PRIVATE "")
    endif()
    list(JOIN PC_REQUIRES ", " PC_REQUIRES)
    list(JOIN PC_LIBS " " PC_LIBS)
    list(JOIN PC_PRIVATE " " PC_PRIVATE)
    configure_file(cmake/pkgconfig.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${FILE}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${FILE}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

set(ALL_NAMES "")
foreach(LIBRARY IN LISTS H265PS_LIBRARIES H265PS_INTERFACES)
    get_target_property(NAME ${LIBRARY} OUTPUT_NAME)
    get_target_property(EXPORT_NAME ${LIBRARY} EXPORT_NAME)
    get_target_property(LINKED ${LIBRARY} INTERFACE_LINK_LIBRARIES)
    get_target_property(KIND ${LIBRARY} TYPE)
    set(REQUIRES "")
    set(PRIVATE "")
    foreach(OTHER IN LISTS LINKED)
        if(OTHER STREQUAL "Threads::Threads")
            list(APPEND PRIVATE -pthread)
        elseif(OTHER MATCHES "ZLIB::ZLIB")
            list(APPEND PRIVATE -lz)
        elseif(OTHER MATCHES "^H265ParameterSets::")
            get_target_property(OTHER_NAME ${OTHER} OUTPUT_NAME)
            if(OTHER_NAME)
                list(APPEND REQUIRES ${OTHER_NAME})
            endif()
        endif()
    endforeach()
    if(KIND STREQUAL "INTERFACE_LIBRARY")
        set(LIBS "")
    else()
        set(LIBS -L\${libdir} -l${NAME})
    endif()
    h265_install_pkgconfig(${NAME} "${PROJECT_DESCRIPTION}: ${EXPORT_NAME}"
        REQUIRES ${REQUIRES} LIBS ${LIBS} PRIVATE ${PRIVATE})
    if(NOT KIND STREQUAL "INTERFACE_LIBRARY")
        list(PREPEND ALL_NAMES ${NAME}) # what links comes in front of what it links
    endif()
endforeach()
h265_install_pkgconfig(h265ps "${PROJECT_DESCRIPTION}: all libraries" REQUIRES ${ALL_NAMES})

install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT program)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT program FILES_MATCHING PATTERN "*.md")
install(FILES docs/h265ps.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/h265ps COMPONENT program)

if(TARGET h265ps_c)
    install(TARGETS h265ps_c
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
    h265_install_pkgconfig(libh265ps "${PROJECT_DESCRIPTION}: the C interface" LIBS -L\${libdir} -lh265ps)
endif()
if(TARGET h265ps_program)
    install(FILES completions/h265ps.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME h265ps
        COMPONENT program)
    install(FILES completions/_h265ps DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT program)
    install(FILES completions/h265ps.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
        COMPONENT program)
endif()
include(cmake/Packages.cmake)
