# Debian packages (cpack): the program, the C interface, what programs are built with, and the Python package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME h265ps)
set(CPACK_PACKAGE_VENDOR "The h265ps project")
set(CPACK_PACKAGE_CONTACT "The maintainers of h265ps <maintainers@h265ps.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL program runtime dev python)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(EXACTLY "(= ${PROJECT_VERSION})")

set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "parameter sets of H.265 files: shown, checked, compared, edited")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME h265ps)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "parameter sets of H.265 files: the C interface")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libh265ps0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_COMPONENT_DEV_DESCRIPTION "parameter sets of H.265 files: C and C++ libraries to build with")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libh265ps-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libh265ps0 ${EXACTLY}, zlib1g-dev")

set(CPACK_COMPONENT_PYTHON_DESCRIPTION "parameter sets of H.265 files, from Python")
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-h265ps)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "libh265ps0 (>= ${PROJECT_VERSION}), python3, python3-cffi, python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA # what Python compiled goes with it
    ${CMAKE_CURRENT_LIST_DIR}/debian/python/postinst ${CMAKE_CURRENT_LIST_DIR}/debian/python/prerm)
if(TARGET h265ps_c)
    # Part of the packages alone: elsewhere pip installs it.
    install(FILES python/src/h265ps/__init__.py python/src/h265ps/_library.py python/src/h265ps/py.typed
        interfaces/c/h265ps.h DESTINATION lib/python3/dist-packages/h265ps COMPONENT python EXCLUDE_FROM_ALL)
endif()
include(CPack)
