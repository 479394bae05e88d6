# Finds the MinGW C++ runtime DLLs, copies them into the build's bin folder and installs
# them beside qvcore.dll.
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(_qv_gcc_dll libgcc_s_seh-1.dll)
else()
    set(_qv_gcc_dll libgcc_s_dw2-1.dll)
endif()

set(QVCORE_RUNTIME_DLLS "")
foreach(_dll ${_qv_gcc_dll} libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${_dll}
                    OUTPUT_VARIABLE _path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${_path}" OR NOT EXISTS "${_path}")
        # winpthread lives with the target's libraries, not with gcc's.
        find_file(_path_${_dll} ${_dll} PATHS /usr/${QVCORE_MINGW_TRIPLE}/lib NO_DEFAULT_PATH)
        set(_path ${_path_${_dll}})
    endif()
    if(NOT EXISTS "${_path}")
        message(FATAL_ERROR "C++ runtime DLL ${_dll} not found for ${CMAKE_CXX_COMPILER}")
    endif()
    list(APPEND QVCORE_RUNTIME_DLLS ${_path})
endforeach()

file(COPY ${QVCORE_RUNTIME_DLLS} DESTINATION ${CMAKE_BINARY_DIR}/bin)
install(FILES ${QVCORE_RUNTIME_DLLS} DESTINATION bin)
