# cmake -DCOMMAND=PROGRAM;ARGUMENT;... -DEXPECTED=FILE -P compare_output.cmake: runs a command and compares its output.
execute_process(COMMAND ${COMMAND} OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "The command ended with ${result}: ${COMMAND}")
endif()
file(READ ${EXPECTED} expected)
if(NOT output STREQUAL expected)
    message(FATAL_ERROR "The output of ${COMMAND} is not that of ${EXPECTED}, but:\n${output}")
endif()
