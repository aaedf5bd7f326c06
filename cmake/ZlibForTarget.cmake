# SPDX-License-Identifier: Apache-2.0
# Target ZLIB::ZLIB, static, because packages need the system's own libraries alone. Natively the installed library
# (Debian's zlib1g-dev; vcpkg.json on Windows). The cross build compiles what cmake/fetch-sources has put into the
# machine's cache.
if(TARGET ZLIB::ZLIB)
    return()
endif()
if(NOT CMAKE_CROSSCOMPILING)
    if(NOT MSVC)
        set(ZLIB_USE_STATIC_LIBS ON)
    endif()
    find_package(ZLIB REQUIRED)
    return()
endif()

set(fetcher ${CMAKE_CURRENT_LIST_DIR}/fetch-sources)
execute_process(COMMAND ${fetcher} zlib --print-root
    OUTPUT_VARIABLE zlib_root OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT EXISTS ${zlib_root})
    message(FATAL_ERROR "There is no zlib in ${zlib_root}. Fetch it (once per machine) with ${fetcher} zlib.")
endif()
# Compiled in the build tree, so that no debug information names the cache; in a folder of its version.
get_filename_component(name ${zlib_root} NAME)
set(sources ${CMAKE_BINARY_DIR}/${name})
file(COPY ${zlib_root} DESTINATION ${CMAKE_BINARY_DIR})
add_library(zlib STATIC)
foreach(file adler32 crc32 deflate inffast inflate inftrees trees zutil)  # without files in its form
    target_sources(zlib PRIVATE ${sources}/${file}.c)
endforeach()
target_include_directories(zlib SYSTEM PUBLIC ${sources}/include)
target_compile_options(zlib PRIVATE -w)
set_target_properties(zlib PROPERTIES UNITY_BUILD OFF)  # several files define the same local names
add_library(ZLIB::ZLIB ALIAS zlib)
