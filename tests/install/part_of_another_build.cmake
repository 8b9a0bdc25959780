# Builds the project as part of another build, with static libraries; then installs the libraries
# and uses them in a third project.

include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/Consumer.cmake")
file(REMOVE_RECURSE "${WORK_DIR}")

# configure(SOURCE FOLDER OPTION...): configures tests/install/SOURCE in the build folder FOLDER.
function(configure source folder)
  run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/${source}" -B "${folder}" -G Ninja
      "-DCMAKE_CXX_COMPILER=${COMPILER}" -DCMAKE_CXX_FLAGS=-O0 ${ARGN})
endfunction()

# --- by default: only the libraries, with unique target names ---

configure(embedding "${WORK_DIR}/default" "-DPROJECT_DIR=${PROJECT_DIR}"
          "-DCMAKE_INSTALL_PREFIX=${WORK_DIR}/nothing")
file(STRINGS "${WORK_DIR}/default/targets.txt" targets)
if(NOT "sdm_libdatasrc" IN_LIST targets)
  message(SEND_ERROR "The libraries are not built")
endif()
foreach(target IN LISTS targets)
  if(NOT target MATCHES "^(sdm_|ServerDataManager)")
    message(SEND_ERROR "A target without our prefix: ${target}")
  elseif(target MATCHES "^sdm_(first_write|two_processes)")
    message(SEND_ERROR "An example: ${target}")
  endif()
endforeach()
run("${CMAKE_COMMAND}" --install "${WORK_DIR}/default")
if(EXISTS "${WORK_DIR}/nothing")
  message(SEND_ERROR "The surrounding build installs what it did not ask for")
endif()
file(GLOB_RECURSE settings "${WORK_DIR}/default/CPack*" "${WORK_DIR}/default/compile_commands.json")
file(GLOB_RECURSE tests "${WORK_DIR}/default/sdm/CTestTestfile.cmake")
if(settings OR tests)
  message(SEND_ERROR "The surrounding build got ${settings} ${tests}")
endif()

# --- static libraries, in the build and installed ---

set(static "${WORK_DIR}/static")
# All sources of a target have the same compiler flags, so compiling one source tests the flags. To
# save time, reuse_object.sh copies the other objects of the target from the existing build.
set(ENV{REUSED_BUILD} "${BUILD_DIR}")
configure(embedding "${static}" "-DPROJECT_DIR=${PROJECT_DIR}" -DBUILD_SHARED_LIBS=OFF -DSDM_INSTALL=ON
          "-DCMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CURRENT_LIST_DIR}/reuse_object.sh")
run("${CMAKE_COMMAND}" --build "${static}")
check_consumer("${static}/consumer")

run("${CMAKE_COMMAND}" --install "${static}" --prefix "${WORK_DIR}/prefix")
file(RENAME "${WORK_DIR}/prefix" "${WORK_DIR}/moved")
file(GLOB_RECURSE shared "${static}/*.so" "${WORK_DIR}/moved/*.so")
if(shared)
  message(SEND_ERROR "Shared libraries in a static build: ${shared}")
endif()
configure(consumer "${WORK_DIR}/consumer" "-DCMAKE_PREFIX_PATH=${WORK_DIR}/moved")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/consumer")
check_consumer("${WORK_DIR}/consumer")
