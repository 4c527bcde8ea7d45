# The compiler's run-time libraries, which lie beside the programs wherever these are: exceptions and memory
# pass between the libraries of a program only when all of them share one runtime.
function(qbase_add_windows_runtime)
    foreach(library libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT IS_ABSOLUTE "${path}")
            message(FATAL_ERROR "The compiler has no ${library}")
        endif()
        file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
        install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
    endforeach()
endfunction()
