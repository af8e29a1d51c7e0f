# Cross-compilation for Windows with Debian's MinGW, for the triple in ZTK_MINGW_TRIPLE. The compilers
# with POSIX threads are the ones whose C++ library has std::thread and std::mutex.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${ZTK_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZTK_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZTK_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ZTK_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# A package may also lie where CMAKE_PREFIX_PATH says, outside the compiler's folders.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
