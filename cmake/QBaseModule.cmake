# qbase_add_module(NAME SOURCES...) builds a module: a shared library whose reflected classes register
# themselves while it loads. The file is called NAME_Release in every build, because that is the name
# LoadModule("NAME") asks for, and it lies beside the programs, which is where LoadModule looks first.
#
#     find_package(QBase CONFIG REQUIRED)
#     qbase_add_module(Solar Planet.cpp Moon.cpp)
function(qbase_add_module name)
    add_library(${name} MODULE ${ARGN})
    target_link_libraries(${name} PRIVATE QBase::QBase)
    set_target_properties(${name} PROPERTIES
        PREFIX "" OUTPUT_NAME ${name}_Release DEBUG_POSTFIX ""
        BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN"
        CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    if(CMAKE_RUNTIME_OUTPUT_DIRECTORY)
        set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    endif()
endfunction()
