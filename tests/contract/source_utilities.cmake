# SPDX-License-Identifier: Apache-2.0
# Each contract of the source utilities' seams, against the platform's body and against the scripted one.
foreach(seam file_system environment_variables process local_time native_thread debugger_output)
    tarnel_add_test(${seam}_contract_test SOURCES ${seam}_contract.cpp)
    tarnel_add_test(${seam}_scripted_contract_test SOURCES ${seam}_contract.cpp SCRIPTED ${seam})
endforeach()
tarnel_add_test(critical_section_contract_test SOURCES critical_section_contract.cpp)
tarnel_add_test(critical_section_scripted_contract_test SOURCES critical_section_contract.cpp SCRIPTED critical_section)
tarnel_add_test(dynamic_library_contract_test
    SOURCES dynamic_library_contract.cpp dynamic_library_real_modules.cpp)
add_dependencies(dynamic_library_contract_test tarnel_test_modules)
tarnel_add_test(dynamic_library_scripted_contract_test
    SOURCES dynamic_library_contract.cpp dynamic_library_scripted_modules.cpp SCRIPTED dynamic_library)
if(WIN32)
    set(sources windows/library_search_test.cpp)
else()
    set(sources posix/library_search_test.cpp)
    if(NOT TARNEL_SANITIZE)
        list(APPEND sources posix/library_search_run_path_test.cpp)
    endif()
endif()
tarnel_add_test(library_search_test SOURCES ${sources})
if(NOT WIN32)
    # Without a folder of the program's own in the loader's search, nor a library that has to be found there.
    set_target_properties(library_search_test PROPERTIES SKIP_BUILD_RPATH ON)
    target_link_options(library_search_test PRIVATE LINKER:--as-needed)
    if(TARNEL_SANITIZE)  # lld takes objects of archives, and so their libraries, that nothing in the program asks for
        target_link_options(library_search_test PRIVATE --ld-path=ld.bfd)
    endif()
endif()
add_dependencies(library_search_test tarnel_test_modules tarnel_test_loaders)
