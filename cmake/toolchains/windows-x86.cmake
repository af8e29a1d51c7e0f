# 32-bit Windows. Built only: Debian's 64-bit Wine runs no 32-bit programs.
set(CMAKE_SYSTEM_PROCESSOR x86)
set(ZTK_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
