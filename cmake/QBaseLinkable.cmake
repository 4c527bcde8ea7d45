# What QBase and QNet have in common as libraries that programs link to.

# qbase_add_linkable(NAME) adds the library NAME, to be linked to as QBase::NAME. A static one is an archive that
# those who link to QBase::NAME take whole: nobody calls the registrars of its classes, so the linker would leave
# them out.
function(qbase_add_linkable name)
    if(NOT QBASE_STATIC)
        add_library(${name} SHARED)
        add_library(QBase::${name} ALIAS ${name})
        return()
    endif()
    add_library(${name} STATIC)
    add_library(QBase::${name}Archive ALIAS ${name})
    target_compile_definitions(${name} PUBLIC QBASE_STATIC)
    set_target_properties(${name} PROPERTIES EXPORT_NAME ${name}Archive POSITION_INDEPENDENT_CODE ON)
    add_library(${name}Whole INTERFACE)
    add_library(QBase::${name} ALIAS ${name}Whole)
    target_link_libraries(${name}Whole INTERFACE $<LINK_LIBRARY:WHOLE_ARCHIVE,QBase::${name}Archive>)
    set_target_properties(${name}Whole PROPERTIES EXPORT_NAME ${name})
    install(TARGETS ${name}Whole EXPORT QBaseTargets)
endfunction()

# qbase_install_linkable(NAME) installs it with its headers, for the packages that need each part.
function(qbase_install_linkable name)
    install(TARGETS ${name} EXPORT QBaseTargets
            RUNTIME COMPONENT runtime
            LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
            ARCHIVE COMPONENT development
            FILE_SET HEADERS COMPONENT development)
endfunction()
