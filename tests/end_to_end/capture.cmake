# SPDX-License-Identifier: Apache-2.0
# Captures of what swosource plays, and the demonstration. The tests of the Windows build take swosource from
# build/linux and are skipped without it. A test in real time runs alone; under Wine it has a prefix of its own, whose
# server serves nothing else.
if(NOT TARGET collector_capture)
    return()
endif()
if(WIN32)
    set(capture_builds --build ${CMAKE_BINARY_DIR}/../linux --windows ${CMAKE_BINARY_DIR})
else()
    set(capture_builds --build ${CMAKE_BINARY_DIR})
endif()

# tarnel_add_capture_test(CASE [REAL_TIME] [TIMEOUT seconds] [LABELS label...])
function(tarnel_add_capture_test case)
    cmake_parse_arguments(PARSE_ARGV 1 arg "REAL_TIME" "TIMEOUT" "LABELS")
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 600)
    endif()
    set(name capture_${case})
    add_test(NAME ${name}
        COMMAND python3 ${CMAKE_CURRENT_SOURCE_DIR}/capture_test.py ${capture_builds} ${case})
    get_property(captures GLOBAL PROPERTY TARNEL_CAPTURES)
    set_property(GLOBAL APPEND PROPERTY TARNEL_CAPTURES ${case})
    list(LENGTH captures before)
    math(EXPR port "100 + ${before}")  # of its own: under Wine all share the ports of one prefix
    set(environment ${TARNEL_TEST_ENVIRONMENT} TARNEL_COM_PORT=${port})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} SKIP_RETURN_CODE 77
        LABELS "end-to-end;${arg_LABELS}")
    if(arg_REAL_TIME)
        list(APPEND environment TARNEL_WINEPREFIX=${CMAKE_BINARY_DIR}/wine-real-time)
        set_tests_properties(${name} PROPERTIES RUN_SERIAL ON LABELS "end-to-end;native-only;${arg_LABELS}")
    endif()
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${environment}")
endfunction()

tarnel_add_capture_test(itm_at_2_mbaud)
tarnel_add_capture_test(auto_prescaler_takes_the_first_rate_of_the_port)
tarnel_add_capture_test(manual_prescaler_does_not_look_at_the_ports_rate)
tarnel_add_capture_test(recorded_stream_of_a_real_target)
tarnel_add_capture_test(counter_at_12_mbaud REAL_TIME)
tarnel_add_capture_test(counter_at_12_mbaud_for_a_minute REAL_TIME TIMEOUT 1200 LABELS long)
tarnel_add_capture_test(reader_that_stands_still_overruns_the_probe REAL_TIME)
tarnel_add_capture_test(stream_that_ends_early_is_reported)
tarnel_add_capture_test(source_that_dies_leaves_what_came_before)
tarnel_add_capture_test(missing_port_is_reported)
tarnel_add_capture_test(wrong_baud_rate_garbles_the_stream)
tarnel_add_capture_test(demo_captures_every_byte)
tarnel_add_capture_test(demo_says_what_is_wrong)

if(NOT WIN32)
    tarnel_add_capture_test(capture_file_on_a_full_device_is_reported)
    add_test(NAME swosource_commands
        COMMAND python3 ${CMAKE_CURRENT_SOURCE_DIR}/swosource_test.py $<TARGET_FILE:swosource>)
    set_tests_properties(swosource_commands PROPERTIES TIMEOUT 600 SKIP_RETURN_CODE 77 LABELS end-to-end COST 10)
endif()
