# qbase_add_module(NAME [STATIC] [LINKABLE] SOURCES...) builds a module: a shared library whose reflected classes register
# themselves while it loads. The file is called NAME_Release in every build, because that is the name
# LoadModule("NAME") asks for, and it lies beside the programs, which is where LoadModule looks first.
#
#     find_package(QBase CONFIG REQUIRED)
#     qbase_add_module(Solar Planet.cpp Moon.cpp)
#     add_executable(Program Program.cpp)
#     target_link_libraries(Program PRIVATE QBase::QBase)
#     qbase_link_modules(Program Solar)
#
# With STATIC, and always where QBase itself is a static library, the module is a static library.
#
# With LINKABLE other modules can link to it, whose classes have classes of this one as bases; its classes are seen
# from outside then:
#
#     qbase_add_module(Solar LINKABLE Planet.cpp Moon.cpp)
#     qbase_add_module(Comets Comet.cpp) # class Comet : public Solar::Planet
#     target_link_libraries(Comets PRIVATE Solar)
function(qbase_add_module name)
    cmake_parse_arguments(PARSE_ARGV 1 module "STATIC;LINKABLE" "" "")
    if(module_STATIC OR TARGET QBase::QBaseArchive)
        add_library(${name} STATIC ${module_UNPARSED_ARGUMENTS})
        set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    elseif(module_LINKABLE)
        add_library(${name} SHARED ${module_UNPARSED_ARGUMENTS})
    else()
        add_library(${name} MODULE ${module_UNPARSED_ARGUMENTS})
    endif()
    target_link_libraries(${name} PRIVATE QBase::QBase)
    set_target_properties(${name} PROPERTIES
        PREFIX "" OUTPUT_NAME ${name}_Release DEBUG_POSTFIX ""
        BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN"
        CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    if(module_LINKABLE)
        target_include_directories(${name} INTERFACE ${CMAKE_CURRENT_SOURCE_DIR})
        set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET default VISIBILITY_INLINES_HIDDEN OFF
                              WINDOWS_EXPORT_ALL_SYMBOLS ON)
    endif()
    if(CMAKE_RUNTIME_OUTPUT_DIRECTORY)
        set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    endif()
endfunction()

# qbase_link_modules(PROGRAM NAMES...) makes modules available to a program. A static module becomes part of it,
# whole: nobody calls a registrar, so the linker would leave it out otherwise. LoadModule then finds it without a
# file. A module of its own file is built before the program.
function(qbase_link_modules program)
    foreach(name ${ARGN})
        get_target_property(type ${name} TYPE)
        if(type STREQUAL "INTERFACE_LIBRARY") # QBase::QNet, which is whole already
            target_link_libraries(${program} PRIVATE ${name})
        elseif(type STREQUAL "STATIC_LIBRARY")
            target_link_libraries(${program} PRIVATE $<LINK_LIBRARY:WHOLE_ARCHIVE,${name}>)
        else()
            add_dependencies(${program} ${name})
        endif()
    endforeach()
endfunction()
