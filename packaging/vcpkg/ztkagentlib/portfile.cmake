# Builds the clone that this folder is in. A port of a registry fetches a release instead.
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../../.." ABSOLUTE)

# The library is a guest that is loaded and unloaded; there is no static form of it.
vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY)
vcpkg_cmake_configure(
    SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS
        -DZTK_BUILD_TESTS=OFF
        -DZTK_BUILD_EXAMPLES=OFF
        -DZTK_WARNINGS_AS_ERRORS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME ZtkAgentLib CONFIG_PATH lib/cmake/ZtkAgentLib)
vcpkg_fixup_pkgconfig()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
# The clone has no file of terms that could be installed.
set(VCPKG_POLICY_SKIP_COPYRIGHT_CHECK enabled)
