# What an installation holds: the headers of this target, the library with what it needs beside it, a
# CMake package and a pkg-config file. All of it may be moved to another place afterwards.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

install(TARGETS ZtkAgentLib EXPORT ZtkAgentLibTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

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
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZtkAgentLibConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/ZtkAgentLibConfig.cmake
    ${PROJECT_BINARY_DIR}/ZtkAgentLibConfigVersion.cmake
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

# The compiler's runtime DLLs, which a Windows machine does not have.
if(MINGW)
    install(CODE "
        set(library \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:ZtkAgentLib>\")
        set(destination \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        set(compiler \"${CMAKE_CXX_COMPILER}\")
        set(objdump \"${CMAKE_OBJDUMP}\")
        include(\"${PROJECT_SOURCE_DIR}/cmake/InstallRuntimeDlls.cmake\")")
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
