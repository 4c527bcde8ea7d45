# What cpack makes of an installed tree: for Windows one zip; elsewhere three Debian packages, libqbase2 to run
# programs, libqbase-dev to build them, and quirl.
#
#     cmake --preset debian && cmake --build build/debian && (cd build/debian && cpack)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_VENDOR "QBase developers")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/packaging/copyright)
set(CPACK_STRIP_FILES ON)

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    if(QBASE_PACKAGE_DOCUMENTS)
        install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/QBase)
    endif()
    include(CPack)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "QBase developers")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(sameVersion "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqbase${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "QBase is the base library of the Quirl application framework: reflected classes, object graphs saved and
loaded as XML and in a binary format, and their changes replicated to other programs. This package has the
library and the module QNet, which shares graphs over TCP.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqbase-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libqbase${PROJECT_VERSION_MAJOR} ${sameVersion}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "g++, cmake (>= 3.25), quirl")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "QBase is the base library of the Quirl application framework. This package has what is needed to build
programs and modules: headers, and the files for CMake's find_package and for pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quirl)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libqbase${PROJECT_VERSION_MAJOR} ${sameVersion}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS graphviz)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS libqbase-dev)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "quirl shows, converts, compares, checks and serves files of object graphs that programs of the Quirl
application framework save, and joins programs that share a graph.")

if(QBASE_PACKAGE_DOCUMENTS)
    # Each package says whose it is and what changed.
    find_program(QBASE_GZIP gzip REQUIRED)
    install(CODE "execute_process(COMMAND ${QBASE_GZIP} -9 --no-name --stdout ${PROJECT_SOURCE_DIR}/CHANGELOG.md
                                  OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)"
            ALL_COMPONENTS)
    foreach(component runtime development tools)
        string(TOUPPER ${component} upper)
        install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${PROJECT_BINARY_DIR}/changelog.gz
                DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME} COMPONENT ${component})
    endforeach()
    # The examples are there to be read and tried.
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/example/
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME}/examples
            COMPONENT development PATTERN CMakeLists.txt EXCLUDE)
endif()
include(CPack)
