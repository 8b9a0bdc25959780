# Installs the build into a scratch prefix, moves the prefix, and builds and runs a project against it.

include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/moved")

run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/prefix")
file(RENAME "${WORK_DIR}/prefix" "${prefix}")

# No header relies on a file that is not installed.
file(GLOB_RECURSE headers RELATIVE "${prefix}/include" "${prefix}/include/*.h")
list(LENGTH headers count)
if(count LESS 20)
  message(FATAL_ERROR "Only ${count} headers were installed: ${headers}")
endif()
list(TRANSFORM headers REPLACE "(.+)" "#include <\\1>\n")
file(WRITE "${WORK_DIR}/all_headers.cpp" ${headers})
run("${COMPILER}" -std=c++20 -fsyntax-only -I "${prefix}/include" "${WORK_DIR}/all_headers.cpp")

run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${WORK_DIR}/build" -G Ninja
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${COMPILER}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
if(NOT RUN_OUTPUT STREQUAL "2 messages, 1 variable in the mirror, 2 shown of 3, 55 bytes\n")
  message(FATAL_ERROR "The consumer said: ${RUN_OUTPUT}")
endif()

run("${CMAKE_COMMAND}" -E chdir "${PROJECT_DIR}" "${prefix}/bin/sdmsh" examples/survey.sdm)
