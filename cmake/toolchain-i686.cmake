set(QVCORE_MINGW_TRIPLE i686-w64-mingw32)
set(QVCORE_MINGW_ARCH x86)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
