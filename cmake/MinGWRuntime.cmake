# The MinGW run-time DLLs that every module of the Windows build links to, copied next to
# the programs so that they run with nothing installed, and installed beside the libraries.
#
# The modules link the shared libstdc++, libgcc and winpthread rather than static copies:
# with a static libstdc++ each DLL and program has its own new handler, so NH_Heap in
# NewHeapTarn.dll never sees the handler that a host installs with std::set_new_handler
# (the heap suite fails that way under wine64); and in the 32-bit build each static libgcc
# knows the DWARF-2 unwind tables of its own module only, so a throw cannot cross modules.
set(commontarn_runtime_dlls)
foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libgcc_s_dw2-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    # The compiler answers the bare name for a file it does not have (libgcc_s_dw2-1.dll of
    # the 64-bit toolchain, libgcc_s_seh-1.dll of the 32-bit one).
    if(IS_ABSOLUTE "${path}" AND EXISTS "${path}")
        get_filename_component(path "${path}" REALPATH)
        list(APPEND commontarn_runtime_dlls ${path})
    endif()
endforeach()
if(NOT commontarn_runtime_dlls MATCHES "libstdc\\+\\+-6\\.dll")
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} has no libstdc++-6.dll")
endif()
file(COPY ${commontarn_runtime_dlls} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
install(FILES ${commontarn_runtime_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR})
