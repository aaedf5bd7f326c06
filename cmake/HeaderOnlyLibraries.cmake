# SPDX-License-Identifier: Apache-2.0
# Header-only libraries of Debian (nlohmann-json3-dev, libcli11-dev): tarnel_json and tarnel_cli.
#
# A cross build must not see the whole of /usr/include, so the headers are copied into the build tree.
function(tarnel_header_only_library target folder header package)
    find_path(${target}_root ${folder}/${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
    if(NOT ${target}_root)
        message(FATAL_ERROR "${folder}/${header} is missing: install ${package}")
    endif()
    file(COPY ${${target}_root}/${folder} DESTINATION ${CMAKE_BINARY_DIR}/header_only/${folder})
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/header_only/${folder})
endfunction()

tarnel_header_only_library(tarnel_json nlohmann json.hpp nlohmann-json3-dev)
tarnel_header_only_library(tarnel_cli CLI CLI.hpp libcli11-dev)
