# The install tree a client builds against, and its zip:
#   bin/                qvcore.dll, the C++ runtime DLLs, qvtool.exe
#   lib/                libqvcore.dll.a
#   include/qvcore/     the public headers
#   lib/cmake/QvCore/   the CMake package (QvCore::qvcore)
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QVCORE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QvCore)
install(EXPORT QvCoreTargets NAMESPACE QvCore:: DESTINATION ${QVCORE_CMAKE_DIR})

set(QVCORE_RUNTIME_DLL_NAMES "")
foreach(_dll ${QVCORE_RUNTIME_DLLS})
    get_filename_component(_name ${_dll} NAME)
    list(APPEND QVCORE_RUNTIME_DLL_NAMES ${_name})
endforeach()
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QvCoreConfig.cmake.in
    ${CMAKE_BINARY_DIR}/QvCoreConfig.cmake
    INSTALL_DESTINATION ${QVCORE_CMAKE_DIR}
    PATH_VARS CMAKE_INSTALL_BINDIR)
# The version file also refuses a client of the other architecture (pointer size).
write_basic_package_version_file(${CMAKE_BINARY_DIR}/QvCoreConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
# The cross-compiling toolchain files travel with the package: a client configures with
#   -DCMAKE_TOOLCHAIN_FILE=PREFIX/lib/cmake/QvCore/toolchain-ARCH.cmake -DCMAKE_PREFIX_PATH=PREFIX
install(FILES ${CMAKE_BINARY_DIR}/QvCoreConfig.cmake ${CMAKE_BINARY_DIR}/QvCoreConfigVersion.cmake
              ${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake ${CMAKE_CURRENT_LIST_DIR}/toolchain-i686.cmake
              ${CMAKE_CURRENT_LIST_DIR}/toolchain-x86_64.cmake
        DESTINATION ${QVCORE_CMAKE_DIR})

# cpack (in a build tree) makes QvCore-VERSION-ARCH.zip of the same tree.
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME QvCore)
set(CPACK_PACKAGE_VENDOR QvCore)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "QvCore foundation class library")
set(CPACK_PACKAGE_FILE_NAME QvCore-${PROJECT_VERSION}-${QVCORE_MINGW_TRIPLE})
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
include(CPack)
