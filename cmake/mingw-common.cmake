# Shared by the MinGW-w64 toolchain files: the caller sets QVCORE_MINGW_TRIPLE first.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${QVCORE_MINGW_ARCH})

# The -posix variants: the win32 thread model lacks std::mutex, which GoogleTest needs.
set(CMAKE_C_COMPILER   ${QVCORE_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QVCORE_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER  ${QVCORE_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${QVCORE_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages of the project's own (an installed QvCore under CMAKE_PREFIX_PATH) are found outside
# the MinGW root too.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
