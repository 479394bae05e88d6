set(QVCORE_MINGW_TRIPLE x86_64-w64-mingw32)
set(QVCORE_MINGW_ARCH x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
