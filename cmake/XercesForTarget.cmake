# SPDX-License-Identifier: Apache-2.0
# Target XercesC::XercesC. Natively the installed library (Debian's libxerces-c-dev; vcpkg.json on Windows); for the
# cross build the static one that cmake/build-windows-libraries has put into the machine's cache.
if(NOT CMAKE_CROSSCOMPILING)
    find_package(XercesC 3.2 REQUIRED)
    return()
endif()

add_library(XercesC::XercesC STATIC IMPORTED GLOBAL)
set_target_properties(XercesC::XercesC PROPERTIES
    IMPORTED_LOCATION ${TARNEL_WINDOWS_ROOT}/lib/xerces-c.lib
    INTERFACE_INCLUDE_DIRECTORIES ${TARNEL_WINDOWS_ROOT}/include)
