# orvi_add_test(NAME name COMMAND command [argument...] [SCENARIO file] [TIMEOUT seconds] [SERVICE_OPTIONS option...])
#
# A test that runs the command beside a simulated vision service on a message bus of their own, by orvi-test-run: it fails
# when the command fails, when the service ends, when a direction of the scenario is answered no, or when it is not done
# in time (60 s unless TIMEOUT says otherwise), and shows both logs then. Such tests run beside each other (ctest -j).
#
#   COMMAND          a target that is an executable, or a program; generator expressions are welcome
#   SCENARIO         relative to the current source folder; checked when the test runs
#   SERVICE_OPTIONS  of orvi-test-run and of orvi-vision-sim, as --speed max or --service-may-end
function(orvi_add_test)
    cmake_parse_arguments(PARSE_ARGV 0 test "" "NAME;SCENARIO;TIMEOUT" "COMMAND;SERVICE_OPTIONS")
    if("${test_NAME}" STREQUAL "" OR "${test_COMMAND}" STREQUAL "") # a command may be called "false"
        message(FATAL_ERROR "orvi_add_test: NAME and COMMAND are needed")
    endif()
    if(test_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "orvi_add_test(NAME ${test_NAME}): ${test_UNPARSED_ARGUMENTS} has no meaning here")
    endif()
    if("${test_TIMEOUT}" STREQUAL "")
        set(test_TIMEOUT 60)
    endif()
    if(NOT test_TIMEOUT MATCHES "^[1-9][0-9]*$")
        message(FATAL_ERROR "orvi_add_test(NAME ${test_NAME}): TIMEOUT ${test_TIMEOUT} is no number of seconds")
    endif()
    foreach(words "${test_COMMAND}" "${test_SERVICE_OPTIONS}")
        string(REPLACE "\\;" "" words "${words}") # inside an argument
        if("x${words}x" MATCHES ";(;|x$)")
            message(FATAL_ERROR "orvi_add_test(NAME ${test_NAME}): an empty argument does not reach the command")
        endif()
    endforeach()
    set(options --timeout ${test_TIMEOUT}s)
    if(NOT "${test_SCENARIO}" STREQUAL "")
        get_filename_component(scenario "${test_SCENARIO}" ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
        if(NOT EXISTS "${scenario}")
            message(FATAL_ERROR "orvi_add_test(NAME ${test_NAME}): there is no scenario ${scenario}")
        endif()
        list(APPEND options --scenario "${scenario}")
    endif()
    # As texts: the functions for lists would take an argument apart that has a semicolon in it.
    string(REGEX MATCH "^[^;]*" program "${test_COMMAND}")
    if(TARGET "${program}")
        string(LENGTH "${program}" length)
        string(SUBSTRING "${test_COMMAND}" ${length} -1 arguments)
        set(test_COMMAND "$<TARGET_FILE:${program}>${arguments}")
    endif()
    add_test(NAME "${test_NAME}" COMMAND orvi::test_run ${options} ${test_SERVICE_OPTIONS} -- ${test_COMMAND})
    # The runner's own limit comes first: it tells what happened.
    math(EXPR limit "${test_TIMEOUT} + 30")
    set_tests_properties("${test_NAME}" PROPERTIES TIMEOUT ${limit})
endfunction()
