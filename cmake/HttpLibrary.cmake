# SPDX-License-Identifier: Apache-2.0
# Target tarnel_http: cpp-httplib. Natively Debian's library (libcpp-httplib-dev), whose header is light; it brings what it
# was made with, TLS and compression, which nothing here uses. The cross build and the packages for Linux take its one
# header as it is upstream, without those, from where cmake/fetch-sources has put it in the machine's cache; so does the
# build with the thread sanitizer, which does not see how code that it did not compile keeps its threads apart.
add_library(tarnel_http INTERFACE)
if(NOT CMAKE_CROSSCOMPILING AND NOT TARNEL_PACKAGED AND NOT MSVC AND NOT TARNEL_SANITIZE MATCHES thread)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(TARNEL_HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib=0.11.4)
    target_link_libraries(tarnel_http INTERFACE PkgConfig::TARNEL_HTTPLIB)
    return()
endif()
if(MSVC)
    find_package(httplib CONFIG REQUIRED)  # vcpkg.json
    target_link_libraries(tarnel_http INTERFACE httplib::httplib)
    return()
endif()
set(fetcher ${CMAKE_CURRENT_LIST_DIR}/fetch-sources)
execute_process(COMMAND ${fetcher} http --print-root
    OUTPUT_VARIABLE http_root OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT EXISTS ${http_root})
    message(FATAL_ERROR "There is no cpp-httplib in ${http_root}. Fetch it (once per machine) with ${fetcher} http.")
endif()
if(CMAKE_CROSSCOMPILING)
    target_compile_definitions(tarnel_http INTERFACE _access_s=_access)  # the headers of Wine have the other alone
endif()
target_compile_options(tarnel_http INTERFACE -ffile-prefix-map=${http_root}/=cpp-httplib/)  # of a home
target_include_directories(tarnel_http SYSTEM INTERFACE ${http_root}/include)
