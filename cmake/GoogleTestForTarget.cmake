# SPDX-License-Identifier: Apache-2.0
# GoogleTest: installed libraries natively; for the Windows cross build from Debian's sources.
if(CMAKE_CROSSCOMPILING)
    set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(library gtest gmock gtest_main gmock_main)
        target_compile_options(${library} PRIVATE -O0)  # as the tests themselves
    endforeach()
    target_compile_definitions(gtest PUBLIC GTEST_HAS_SEH=0)  # structured exceptions: a crash ends the program
    if(NOT TARGET GTest::gmock)
        add_library(GTest::gmock ALIAS gmock)
        add_library(GTest::gtest_main ALIAS gtest_main)
        add_library(GTest::gtest ALIAS gtest)
    endif()
else()
    find_package(GTest 1.12 REQUIRED)
endif()
