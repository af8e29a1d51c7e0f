# Plays vcpkg's part for the port, as far as files and names go: cmake -DBUILD=DIR -P packaging/check.cmake
#
# The functions of the same names as vcpkg's look at what the port passes on, and install the build in
# DIR instead of one of their own.
cmake_policy(VERSION 3.25)
set(clone ${CMAKE_CURRENT_LIST_DIR}/..)
set(CURRENT_PORT_DIR ${CMAKE_CURRENT_LIST_DIR}/vcpkg/ztkagentlib)
set(CURRENT_PACKAGES_DIR ${BUILD}/vcpkg-packages)
set(PORT ztkagentlib)

function(need path)
    if(NOT EXISTS ${path})
        message(FATAL_ERROR "The port relies on ${path}, which is not there")
    endif()
endfunction()

function(vcpkg_check_linkage linkage)
endfunction()

function(vcpkg_cmake_configure)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" SOURCE_PATH OPTIONS)
    file(READ ${arg_SOURCE_PATH}/CMakeLists.txt lists)
    foreach(option IN LISTS arg_OPTIONS)
        string(REGEX REPLACE "^-D(.*)=.*" "\\1" name "${option}")
        if(NOT lists MATCHES "option\\(${name} ")
            message(FATAL_ERROR "The port sets ${name}, which is no option of the build")
        endif()
    endforeach()
endfunction()

function(vcpkg_cmake_install)
    file(REMOVE_RECURSE ${CURRENT_PACKAGES_DIR})
    foreach(folder IN ITEMS "" /debug)
        execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${CURRENT_PACKAGES_DIR}${folder}
            OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
endfunction()

function(vcpkg_cmake_config_fixup)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "PACKAGE_NAME;CONFIG_PATH" "")
    need(${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH}/${arg_PACKAGE_NAME}Config.cmake)
endfunction()

function(vcpkg_fixup_pkgconfig)
    need(${CURRENT_PACKAGES_DIR}/lib/pkgconfig/ZtkAgentLib.pc)
endfunction()

include(${CURRENT_PORT_DIR}/portfile.cmake)
need(${CURRENT_PACKAGES_DIR}/share/${PORT}/usage)

file(READ ${CURRENT_PORT_DIR}/vcpkg.json manifest)
string(JSON port_version GET ${manifest} version)
file(STRINGS ${clone}/include/ztk/version.h version REGEX "^#define ZTK_VERSION_(MAJOR|MINOR|PATCH) [0-9]+$")
string(REGEX REPLACE "[^;]* " "" version "${version}")
string(REPLACE ";" "." version "${version}")
if(NOT port_version VERSION_EQUAL version)
    message(FATAL_ERROR "vcpkg.json has version ${port_version}, ztk/version.h has ${version}")
endif()
