# Install step: puts gdb's printers where gdb looks for them when it meets the library.
#
# For a file F that is installed for the system, that is F-gdb.py below gdb's own folder; everywhere else
# it is F-gdb.py beside F, which gdb reads once the user has allowed it. F is the file itself, not one of
# the links that lead to it.
#
# Takes: printers, library (the file's name), libdir and datadir (relative to the prefix).
cmake_policy(VERSION 3.25)

set(prefix "${CMAKE_INSTALL_PREFIX}")
# A package is put together in a folder that ends with the prefix that it will have.
if(prefix MATCHES "/_CPack_Packages/.*/usr$")
    set(prefix /usr)
endif()
set(destination "${CMAKE_INSTALL_PREFIX}/${libdir}")
if(prefix STREQUAL "/usr")
    set(destination "${CMAKE_INSTALL_PREFIX}/${datadir}/gdb/auto-load${prefix}/${libdir}")
endif()
file(INSTALL "${printers}" DESTINATION "${destination}" RENAME "${library}-gdb.py")
