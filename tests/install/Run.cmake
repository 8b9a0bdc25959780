cmake_minimum_required(VERSION 3.22)

# run(COMMAND...): runs a step of a script test and sets RUN_OUTPUT to its output. If the step
# fails, shows the output and stops the test.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message("${output}")
    message(FATAL_ERROR "Ended with ${result}: ${command}")
  endif()
  set(RUN_OUTPUT "${output}" PARENT_SCOPE)
endfunction()

# run_with_vendor(VENDOR REPLACED PROGRAM LIBRARY...): configures the project to take the platform
# library named REPLACED from the folder VENDOR. Then builds and runs PROGRAM, and sets RUN_OUTPUT
# to its output. To save time, a LIBRARY that BUILD_DIR has as a shared library is not built, but
# copied to VENDOR.
function(run_with_vendor vendor replaced program)
  set(roots "-DPLATFORM_${replaced}_ROOT=${vendor}")
  foreach(library IN LISTS ARGN)
    file(GLOB built "${BUILD_DIR}/platform/${library}/${library}.so*")
    if(built)
      file(GLOB headers "${PROJECT_DIR}/platform/${library}/*.h")
      file(COPY ${headers} DESTINATION "${vendor}/include/${library}")
      file(COPY ${built} DESTINATION "${vendor}/lib")
      list(APPEND roots "-DPLATFORM_${library}_ROOT=${vendor}")
    endif()
  endforeach()
  run("${CMAKE_COMMAND}" -S "${PROJECT_DIR}" -B "${WORK_DIR}/build" -G Ninja
      "-DCMAKE_CXX_COMPILER=${COMPILER}" -DCMAKE_BUILD_TYPE=Debug -DSDM_DEVELOPER=ON
      -DCMAKE_UNITY_BUILD=ON ${roots})
  run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build" --target ${program})
  run("${WORK_DIR}/build/tests/install/${program}")
  message(STATUS "${RUN_OUTPUT}")
  set(RUN_OUTPUT "${RUN_OUTPUT}" PARENT_SCOPE)
endfunction()
