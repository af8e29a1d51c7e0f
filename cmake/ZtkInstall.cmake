# What an installation holds: the headers of this target, the library with what it needs beside it, a
# CMake package, a pkg-config file, and the documentation with the sources of the examples. All of it
# may be moved to another place afterwards. The components are those of the packages (ZtkPackages.cmake).
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

# On Linux the name without a version belongs to the library, not to what development needs: hosts also
# load the library by it, at run time.
install(TARGETS ZtkAgentLib EXPORT ZtkAgentLibTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

if(WIN32)
    set(other_target PATTERN posix.h EXCLUDE PATTERN posix EXCLUDE)
else()
    set(other_target PATTERN windows.h EXCLUDE PATTERN windows_com.h EXCLUDE)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ztk DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN *.h ${other_target})

# CMake package.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ZtkAgentLib)
install(EXPORT ZtkAgentLibTargets NAMESPACE ZTK:: DESTINATION ${package_dir})
configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/ZtkAgentLibConfig.cmake.in ${PROJECT_BINARY_DIR}/ZtkAgentLibConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZtkAgentLibSameMajor.cmake
    COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
configure_file(${PROJECT_SOURCE_DIR}/cmake/ZtkAgentLibConfigVersion.cmake.in
    ${PROJECT_BINARY_DIR}/ZtkAgentLibConfigVersion.cmake @ONLY)
install(FILES
    ${PROJECT_BINARY_DIR}/ZtkAgentLibConfig.cmake
    ${PROJECT_BINARY_DIR}/ZtkAgentLibConfigVersion.cmake
    ${PROJECT_BINARY_DIR}/ZtkAgentLibSameMajor.cmake
    DESTINATION ${package_dir})

# pkg-config file. Its prefix is found from its own place.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ZTK_PC_PREFIX /prefix/${pkgconfig_dir} /prefix)
string(REGEX REPLACE "/$" "" ZTK_PC_PREFIX "${ZTK_PC_PREFIX}")
if(WIN32)
    set(ZTK_PC_CFLAGS "")
    set(ZTK_PC_LIBS " -lws2_32 -lole32 -loleaut32")
else()
    set(ZTK_PC_CFLAGS " -fshort-wchar")
    set(ZTK_PC_LIBS "")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/ZtkAgentLib.pc.in ${PROJECT_BINARY_DIR}/ZtkAgentLib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ZtkAgentLib.pc DESTINATION ${pkgconfig_dir})

# Documentation. The examples build against an installation, too.
install(FILES
    ${PROJECT_SOURCE_DIR}/README.md
    ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
    FILES_MATCHING PATTERN *.md PATTERN site EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)

# The compiler's runtime DLLs, which a Windows machine does not have.
if(MINGW)
    install(CODE "
        set(library \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:ZtkAgentLib>\")
        set(destination \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        set(compiler \"${CMAKE_CXX_COMPILER}\")
        set(objdump \"${CMAKE_OBJDUMP}\")
        include(\"${PROJECT_SOURCE_DIR}/cmake/InstallRuntimeDlls.cmake\")" COMPONENT library)
endif()

# What debuggers show values with, and valgrind's suppressions.
install(FILES ${PROJECT_SOURCE_DIR}/debug/natvis/ZtkAgentLib.natvis
    DESTINATION ${CMAKE_INSTALL_DATADIR}/ZtkAgentLib)
if(NOT WIN32)
    install(FILES ${PROJECT_SOURCE_DIR}/debug/valgrind/ztk.supp
        DESTINATION ${CMAKE_INSTALL_DATADIR}/ZtkAgentLib)
    install(CODE "
        set(printers \"${PROJECT_SOURCE_DIR}/debug/gdb/ztk_printers.py\")
        set(library \"$<TARGET_FILE_NAME:ZtkAgentLib>\")
        set(libdir \"${CMAKE_INSTALL_LIBDIR}\")
        set(datadir \"${CMAKE_INSTALL_DATADIR}\")
        include(\"${PROJECT_SOURCE_DIR}/cmake/InstallGdbPrinters.cmake\")")
endif()
