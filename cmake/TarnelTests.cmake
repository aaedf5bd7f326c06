# SPDX-License-Identifier: Apache-2.0
# tarnel_add_test(NAME SOURCES file... [SCRIPTED seam...] [LIBRARIES lib...] [TIMEOUT seconds] [LABELS label...]
#                 [ARGUMENTS argument...] [LAUNCHER command...])
#
# A GoogleTest program. It links all logic, the scripted body of every seam named by SCRIPTED and the real body of all
# others. Its tests run in an order of chance, of which a failing run tells the seed. On Windows builds it runs under
# Wine. LAUNCHER is a command that is given the program's command line.
function(tarnel_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;SCRIPTED;LIBRARIES;LABELS;ARGUMENTS;LAUNCHER")
    tarnel_add_test_headers()
    add_executable(${name} ${arg_SOURCES})
    target_precompile_headers(${name} REUSE_FROM tarnel_test_headers)
    target_compile_options(${name} PRIVATE ${TARNEL_TEST_OPTIONS})
    target_link_libraries(${name} PRIVATE tarnel_logic)
    get_property(seams GLOBAL PROPERTY TARNEL_SEAMS)
    foreach(seam IN LISTS seams)
        if(seam IN_LIST arg_SCRIPTED)
            target_link_libraries(${name} PRIVATE scripted_${seam})
        else()
            target_link_libraries(${name} PRIVATE platform_${seam})
        endif()
    endforeach()
    target_link_libraries(${name} PRIVATE tarnel_logic pelkit GTest::gmock GTest::gtest_main ${arg_LIBRARIES})
    list(APPEND arg_ARGUMENTS --gtest_shuffle)
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 600)
    endif()
    if(arg_LAUNCHER)
        add_test(NAME ${name}
            COMMAND ${arg_LAUNCHER} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${name}> ${arg_ARGUMENTS})
    else()
        add_test(NAME ${name} COMMAND ${name} ${arg_ARGUMENTS})
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "unit;${arg_LABELS}"
        ENVIRONMENT "${TARNEL_TEST_ENVIRONMENT}")
endfunction()

# tarnel_wrap(TARGET SYMBOL...): calls of each C function in the whole program go to __wrap_SYMBOL, and those of
# __real_SYMBOL to the function. The linker of Windows' own compiler has no such thing: the test is named as not run.
function(tarnel_wrap target)
    if(MSVC)
        set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
        if(TEST ${target})
            set_tests_properties(${target} PROPERTIES DISABLED ON)
        endif()
        return()
    endif()
    set(option LINKER:--wrap=)
    if(WIN32)
        set(option LINKER:/wrap:)
    endif()
    foreach(symbol IN LISTS ARGN)
        target_link_options(${target} PRIVATE "${option}${symbol}")
    endforeach()
endfunction()

# tarnel_wrap_function(TARGET MACRO ITANIUM MICROSOFT): the same for a C++ function with these decorated names. In the
# sources MACRO is the one of the build, a text: void Replacement() __asm__("__wrap_" MACRO).
function(tarnel_wrap_function target macro itanium microsoft)
    set(name "${itanium}")
    if(WIN32)
        set(name "${microsoft}")
    endif()
    tarnel_wrap(${target} "${name}")
    target_compile_definitions(${target} PRIVATE "${macro}=\"${name}\"")
endfunction()

# Most of the time that a test takes to compile goes into GoogleTest's headers and into optimising its macros: the
# headers are compiled once, and the test code, unlike what it tests, is not optimised. Nor has it debug information, on
# Linux: for Windows the compiler would refuse the options that say what stands in it.
if(NOT MSVC)
    set(TARNEL_TEST_OPTIONS -O0)
endif()
if(NOT WIN32)
    list(APPEND TARNEL_TEST_OPTIONS -g0)
endif()
function(tarnel_add_test_headers)
    if(TARGET tarnel_test_headers)
        return()
    endif()
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/test_headers.cpp CONTENT "")
    add_executable(tarnel_test_headers EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/test_headers.cpp)
    target_link_libraries(tarnel_test_headers PRIVATE tarnel_logic tarnel_platform pelkit GTest::gmock GTest::gtest_main)
    target_compile_options(tarnel_test_headers PRIVATE ${TARNEL_TEST_OPTIONS})
    target_precompile_headers(tarnel_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <filesystem> <fstream>
        <map> <memory> <sstream> <string> <thread> <vector>)
endfunction()
