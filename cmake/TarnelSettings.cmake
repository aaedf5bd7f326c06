# SPDX-License-Identifier: Apache-2.0
# Language, warnings, sanitizers and output folders, for every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Programs and libraries land in one folder, so that they run from the build tree as they are.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# The body of platform code that this build takes: source_utilities/<this>/, uart/<this>/; and the declarations of the
# host's own types, below host_api/.
if(WIN32)
    set(TARNEL_PLATFORM windows)
    set(TARNEL_HOST_TYPES windows)
    if(CMAKE_CXX_COMPILER_ID STREQUAL MSVC)
        set(TARNEL_HOST_TYPES windows-msvc)  # the compiler's own std::string
    endif()
    # The host loads libraries by their bare base names.
    set(CMAKE_SHARED_LIBRARY_PREFIX "")
    set(CMAKE_SHARED_MODULE_PREFIX "")
else()
    set(TARNEL_PLATFORM posix)
    set(TARNEL_HOST_TYPES posix)
endif()

add_library(tarnel_settings INTERFACE)
target_include_directories(tarnel_settings INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/host_api/${TARNEL_HOST_TYPES})
if(MSVC)
    target_compile_options(tarnel_settings INTERFACE /W4 /utf-8 $<$<BOOL:${TARNEL_WARNINGS_AS_ERRORS}>:/WX>)
    target_compile_definitions(tarnel_settings INTERFACE _CRT_SECURE_NO_WARNINGS NOMINMAX WIN32_LEAN_AND_MEAN)
else()
    target_compile_options(tarnel_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wconversion
        -Wformat=2 $<$<BOOL:${TARNEL_WARNINGS_AS_ERRORS}>:-Werror>)
    if(WIN32)
        target_compile_definitions(tarnel_settings INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601)
    endif()
endif()
if(TARNEL_SANITIZE)
    target_compile_options(tarnel_settings INTERFACE -fsanitize=${TARNEL_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(tarnel_settings INTERFACE -fsanitize=${TARNEL_SANITIZE})
    if(TARNEL_SANITIZE MATCHES undefined)
        target_compile_options(tarnel_settings INTERFACE -fno-sanitize-recover=undefined)
        if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
            # Takes a function of another module for one of another type, because the classes in it are hidden.
            target_compile_options(tarnel_settings INTERFACE -fno-sanitize=function)
        endif()
    endif()
endif()
# What is packaged has the same bytes wherever and whenever it is built.
if(TARNEL_PACKAGED OR CMAKE_CROSSCOMPILING)
    foreach(folder ${PROJECT_BINARY_DIR}=build ${PROJECT_SOURCE_DIR}/=./)  # not what begins like the sources' folder
        add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${folder}>)
    endforeach()
endif()
if(CMAKE_CROSSCOMPILING)
    set_property(GLOBAL PROPERTY RULE_LAUNCH_COMPILE ${PROJECT_SOURCE_DIR}/cmake/with-relative-source)
    file(RELATIVE_PATH sources ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/)
    # An object's name stays relative when the folder is.
    add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${sources}=./>"
        "$<$<COMPILE_LANGUAGE:C,CXX>:-gno-codeview-command-line;-fdebug-compilation-dir=.>")
    add_link_options(LINKER:/Brepro LINKER:/pdbaltpath:%_PDB% LINKER:/pdbsourcepath:.)
endif()
if(NOT WIN32)
    find_package(Threads REQUIRED)
    target_link_libraries(tarnel_settings INTERFACE Threads::Threads)
endif()

# All logic of the plug-in, without platform bodies. Each room adds its sources (see TarnelSeams.cmake); the first
# source is there because a library needs one.
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/logic_anchor.cpp CONTENT "")  # written once: all programs hang on it
add_library(tarnel_logic STATIC ${CMAKE_BINARY_DIR}/logic_anchor.cpp)
# The sources of a room are compiled together: most of the time goes into the headers that they share.
set_target_properties(tarnel_logic PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
target_link_libraries(tarnel_logic PUBLIC tarnel_settings)
# All real bodies of the seams, for programs that replace none.
add_library(tarnel_platform INTERFACE)
