# cmake -DPROGRAM=... -DMADE=... -DCOMMITTED=... -P CompareOutput.cmake
# Runs PROGRAM MADE and fails unless MADE is byte for byte COMMITTED.
execute_process(COMMAND "${PROGRAM}" "${MADE}" RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} failed: ${result}")
endif()
execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${MADE}" "${COMMITTED}" RESULT_VARIABLE differs)
if(NOT differs EQUAL 0)
  message(FATAL_ERROR "${COMMITTED} is not what ${PROGRAM} writes; if that is meant, run it on that file")
endif()
