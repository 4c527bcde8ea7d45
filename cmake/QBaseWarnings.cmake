# qbase_enable_warnings(TARGET) turns on the warnings that all of the project's own code is free of.
# The presets make them errors; a user who builds the library as part of another project only sees them.
function(qbase_enable_warnings target)
    target_compile_options(${target} PRIVATE
        $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall -Wextra -Wpedantic -Wformat=2 -Wshadow -Wnon-virtual-dtor
        -Woverloaded-virtual>)
endfunction()
