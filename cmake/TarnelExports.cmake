# SPDX-License-Identifier: Apache-2.0
# tarnel_exports(TARGET FOLDER NAME) has a library export what FOLDER/windows/NAME.def or FOLDER/posix/NAME.map lists, and
# nothing else.
function(tarnel_exports target folder name)
    if(WIN32 AND NOT CMAKE_CROSSCOMPILING)
        target_sources(${target} PRIVATE ${folder}/windows/${name}.def)
        return()
    endif()
    set(list ${folder}/posix/${name}.map)
    set(option -Wl,--version-script=${list})
    if(WIN32)
        set(list ${folder}/windows/${name}.def)
        # Debug information holds the linker's command line, which must not name the folder of the sources.
        file(RELATIVE_PATH option ${PROJECT_BINARY_DIR} ${list})
        set(option LINKER:/DEF:${option})
    endif()
    target_link_options(${target} PRIVATE ${option})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${list})
endfunction()
