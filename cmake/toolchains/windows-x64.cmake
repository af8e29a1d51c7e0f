# 64-bit Windows. Programs run under Wine.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(ZTK_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../scripts/wine-run)
