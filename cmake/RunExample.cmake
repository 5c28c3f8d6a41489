# Runs PROGRAM, where EMULATOR is given with that; it has to end with 0 and, where the file EXPECTED
# exists, print exactly its text. The platform's way to end a line does not count.
execute_process(COMMAND ${EMULATOR} ${PROGRAM} OUTPUT_VARIABLE output RESULT_VARIABLE result)
string(REPLACE "\r\n" "\n" output "${output}")
message("${output}")
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} ended with ${result}")
endif()
if(EXISTS ${EXPECTED})
    file(READ ${EXPECTED} expected)
    if(NOT output STREQUAL expected)
        message(FATAL_ERROR "The output above differs from ${EXPECTED}:\n${expected}")
    endif()
endif()
