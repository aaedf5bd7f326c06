# Each contract of the source utilities' seams, against the platform's body and against the scripted one.
foreach(seam file_system environment_variables process local_time native_thread debugger_output)
    tarnel_add_test(${seam}_contract_test SOURCES ${seam}_contract.cpp)
    tarnel_add_test(${seam}_scripted_contract_test SOURCES ${seam}_contract.cpp SCRIPTED ${seam})
endforeach()
tarnel_add_test(critical_section_contract_test SOURCES critical_section_contract.cpp)
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
# Without folders of its own in the loader's search.
set_target_properties(library_search_test PROPERTIES SKIP_BUILD_RPATH ON)
add_dependencies(library_search_test tarnel_test_modules tarnel_test_loaders)
