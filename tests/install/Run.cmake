cmake_minimum_required(VERSION 3.22)

# run(COMMAND...): runs a step of a script test. If it fails, shows the output and stops the test.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message("${output}")
    message(FATAL_ERROR "Ended with ${result}: ${command}")
  endif()
  set(RUN_OUTPUT "${output}" PARENT_SCOPE)
endfunction()
