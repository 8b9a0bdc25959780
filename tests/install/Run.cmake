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

# use_builds(vendor LIBRARY...): copies the existing builds of platform libraries to the folder
# `vendor`, and sets ROOTS to the options that configure the project with them. Omits libraries
# without a shared build.
function(use_builds vendor)
  set(roots "")
  foreach(library IN LISTS ARGN)
    file(GLOB built "${BUILD_DIR}/platform/${library}/${library}.so*")
    if(built)
      file(GLOB headers "${PROJECT_DIR}/platform/${library}/*.h")
      file(COPY ${headers} DESTINATION "${vendor}/include/${library}")
      file(COPY ${built} DESTINATION "${vendor}/lib")
      list(APPEND roots "-DPLATFORM_${library}_ROOT=${vendor}")
    endif()
  endforeach()
  set(ROOTS "${roots}" PARENT_SCOPE)
endfunction()
