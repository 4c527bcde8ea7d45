# qbase_enable_warnings(TARGET) turns on the warnings that all of the project's own code is free of.
# The presets make them errors; a user who builds the library as part of another project only sees them.
function(qbase_enable_warnings target)
    target_compile_options(${target} PRIVATE
        $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall -Wextra -Wpedantic -Wformat=2 -Wshadow -Wnon-virtual-dtor
        -Woverloaded-virtual>)
    # g++ 12 warns of its own operator+ for strings as soon as it is inlined. The library, which uses it little,
    # keeps these warnings.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT target STREQUAL "QBase")
        target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow)
    endif()
    # Sanitizers keep g++ from seeing that some paths through the standard library cannot be taken, and it
    # warns of them. The other presets keep these warnings.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
        target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-maybe-uninitialized -Wno-restrict
                               -Wno-stringop-overflow -Wno-stringop-overread)
    endif()
endfunction()
