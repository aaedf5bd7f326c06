# SPDX-License-Identifier: Apache-2.0
# Target XercesC::XercesC. Natively the installed library (Debian's libxerces-c-dev; vcpkg.json on Windows). The packages
# for Linux and the cross build take the static ones without network that cmake/build-linux-xerces and
# cmake/build-windows-libraries have put into the machine's cache.
set(xerces_root "")
set(xerces_library lib/libxerces-c.a)
if(CMAKE_CROSSCOMPILING)
    set(xerces_root ${TARNEL_WINDOWS_ROOT})
    set(xerces_library lib/xerces-c.lib)
elseif(TARNEL_PACKAGED)
    set(builder ${CMAKE_CURRENT_LIST_DIR}/build-linux-xerces)
    execute_process(COMMAND ${builder} --print-root
        OUTPUT_VARIABLE xerces_root OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT EXISTS ${xerces_root})
        message(FATAL_ERROR "There is no static xerces-c in ${xerces_root}. Build it (once per machine, a minute) with "
            "${builder}.")
    endif()
endif()
if(NOT xerces_root)
    find_package(XercesC 3.2 REQUIRED)
    return()
endif()

add_library(XercesC::XercesC STATIC IMPORTED GLOBAL)
set_target_properties(XercesC::XercesC PROPERTIES
    IMPORTED_LOCATION ${xerces_root}/${xerces_library}
    INTERFACE_INCLUDE_DIRECTORIES ${xerces_root}/include)
