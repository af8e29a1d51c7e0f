# Packages, made by "cpack --preset package" and those of the Windows builds: archives with the whole
# installation, and on Linux packages for Debian, one for each component.
set(CPACK_PACKAGE_NAME ztkagentlib)
set(CPACK_PACKAGE_VENDOR "The ZtkAgentLib developers")
set(CPACK_PACKAGE_CONTACT "The ZtkAgentLib developers <maintainers@ztkagentlib.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/StripArchives.cmake)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_THREADS 0)

string(TOLOWER ${CMAKE_SYSTEM_NAME} system)
set(processor ${CMAKE_SYSTEM_PROCESSOR})
if(processor MATCHES "^(AMD64|x86_64)$")
    set(processor x64)
endif()
set(CPACK_PACKAGE_FILE_NAME ztkagentlib-${PROJECT_VERSION}-${system}-${processor})

set(CPACK_COMPONENTS_ALL library development documentation)
if(WIN32)
    set(CPACK_GENERATOR ZIP TGZ)
else()
    set(CPACK_GENERATOR DEB TGZ)
endif()

# Debian. The library's package has the SONAME's number in its name. Packages of two major versions
# exclude each other all the same, because both hold the name without a version.
string(TOLOWER ${ZTK_OUTPUT_NAME} library_package)
string(PREPEND library_package lib)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${CPACK_PACKAGE_CONTACT})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# What other packages depend on that hold programs which link the library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package}-${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# A package beside it has what debuggers need.
set(CPACK_DEBIAN_LIBRARY_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_PROVIDES ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONFLICTS ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_REPLACES ${library_package})
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "The shared library, which programs need to run.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libztkagentlib-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libztkagentlib-doc)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "The headers, the CMake package and the pkg-config file, to build programs with.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME libztkagentlib-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION "The guides, and the sources of the example programs.")
include(CPack)
