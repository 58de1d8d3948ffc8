# vx_shared_library(TARGET HEADER...): what makes a shared library a good neighbour. It exports the
# names that the headers declare, under one version node, and nothing else. Calls of its own
# functions stay inside, whatever names the program and its other libraries have; its tables stay
# shared with the program, which may hold them.
function(vx_shared_library target)
    set(names "")
    foreach(header IN LISTS ARGN)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
        file(READ ${header} text)
        string(REGEX REPLACE "#define[^\n]*" "" text "${text}")
        string(REGEX MATCHALL "(class )?VXBLADE_API [^;([{]*" declarations "${text}")
        foreach(declaration IN LISTS declarations)
            string(REGEX MATCH "([A-Za-z0-9_]+)[ \n]*$" name "${declaration}")
            set(name ${CMAKE_MATCH_1})
            if(declaration MATCHES "^class") # its members, and the table of the virtual ones
                string(LENGTH ${name} length)
                list(APPEND names _ZN${length}${name}* _ZNK${length}${name}* _ZT?${length}${name})
            elseif(NOT declaration MATCHES "~")
                list(APPEND names ${name})
            endif()
        endforeach()
    endforeach()
    list(REMOVE_DUPLICATES names)
    list(JOIN names ";\n    " names)
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
    file(CONFIGURE OUTPUT ${script} CONTENT "VXBLADE_${VXBLADE_ABI} {\n  global:\n    @names@;\n  local:\n    *;\n};\n" @ONLY)
    target_link_options(${target} PRIVATE LINKER:--version-script=${script} LINKER:-Bsymbolic-functions)
    set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${VXBLADE_ABI}
                                               LINK_DEPENDS ${script})
endfunction()
