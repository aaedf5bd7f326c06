# Target XercesC::XercesC. Natively the installed library (Debian's libxerces-c-dev; vcpkg.json on Windows); for the
# cross build the static one that cmake/build-xerces-for-windows has put into the machine's cache.
if(NOT MINGW)
    find_package(XercesC 3.2 REQUIRED)
    return()
endif()

set(builder ${CMAKE_CURRENT_LIST_DIR}/build-xerces-for-windows)
if(NOT TARNEL_XERCES_ROOT)
    execute_process(COMMAND ${builder} --print-root OUTPUT_VARIABLE root OUTPUT_STRIP_TRAILING_WHITESPACE
        RESULT_VARIABLE failed)
    if(failed)
        message(FATAL_ERROR "${builder} --print-root failed; its message stands above")
    endif()
    set(TARNEL_XERCES_ROOT ${root} CACHE PATH "Folder with include/ and lib/libxerces-c.a, xerces-c for Windows" FORCE)
endif()
if(NOT EXISTS ${TARNEL_XERCES_ROOT}/lib/libxerces-c.a)
    set(missing ${TARNEL_XERCES_ROOT})
    unset(TARNEL_XERCES_ROOT CACHE)
    message(FATAL_ERROR "xerces-c for Windows is not in ${missing}. Build it (once per machine, a few minutes) with "
        "${builder}, or set TARNEL_XERCES_ROOT.")
endif()
add_library(XercesC::XercesC STATIC IMPORTED GLOBAL)
set_target_properties(XercesC::XercesC PROPERTIES
    IMPORTED_LOCATION ${TARNEL_XERCES_ROOT}/lib/libxerces-c.a
    INTERFACE_INCLUDE_DIRECTORIES ${TARNEL_XERCES_ROOT}/include)
