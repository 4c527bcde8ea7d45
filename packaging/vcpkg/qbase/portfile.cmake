# The port builds the tree that it lies in:
#
#     vcpkg install qbase --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

vcpkg_check_features(OUT_FEATURE_OPTIONS features FEATURES net QBASE_BUILD_NET tool QBASE_BUILD_TOOL)
string(COMPARE EQUAL "${VCPKG_LIBRARY_LINKAGE}" static isStatic)
vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS ${features} -DQBASE_STATIC=${isStatic} -DQBASE_BUILD_TESTS=OFF -DQBASE_BUILD_EXAMPLES=OFF
            -DQBASE_PACKAGE_DOCUMENTS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME QBase CONFIG_PATH lib/cmake/QBase)
vcpkg_fixup_pkgconfig()
vcpkg_copy_pdbs()
if("tool" IN_LIST FEATURES)
    vcpkg_copy_tools(TOOL_NAMES quirl AUTO_CLEAN)
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/packaging/copyright")
