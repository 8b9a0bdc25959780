# sdm_add_test(name SOURCES ... [LINKS ...] [LABELS ...]) adds a GoogleTest program. CTest lists
# each test of the program by name or, in a build with sanitizers, four parts of the program. The
# preset tsan builds and runs only the programs with the label concurrency.

find_package(GTest REQUIRED)
include(GoogleTest)
add_custom_target(sdm_concurrency_tests)

# Compiling the tests takes longer than running them. So test sources are compiled in batches and
# without optimisation, and common system headers are precompiled. The libraries under test keep the
# options of the preset. Headers of the project are not precompiled: each source includes the headers
# that it uses.
function(sdm_test_settings target)
  target_compile_options(${target} PRIVATE -O0)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
  target_link_libraries(${target} PRIVATE GTest::gmock)
  if(target STREQUAL sdm_precompiled_headers)
    target_precompile_headers(${target} PRIVATE <gmock/gmock.h> <algorithm> <array> <atomic>
      <filesystem> <fstream> <functional> <latch> <memory> <new> <optional> <sstream> <stdexcept>
      <string> <thread> <utility> <vector>)
  else()
    target_precompile_headers(${target} REUSE_FROM sdm_precompiled_headers)
  endif()
endfunction()

# An executable like the tests: only targets with the same flags can share precompiled headers.
file(WRITE "${PROJECT_BINARY_DIR}/sdm_precompiled_headers.cpp" "int main() {}\n")
add_executable(sdm_precompiled_headers EXCLUDE_FROM_ALL
               "${PROJECT_BINARY_DIR}/sdm_precompiled_headers.cpp")
sdm_test_settings(sdm_precompiled_headers)

function(sdm_add_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  sdm_test_settings(${name})
  target_link_libraries(${name} PRIVATE ${arg_LINKS} GTest::gtest_main)
  if(SDM_SANITIZE)
    # Starting a program with a sanitizer takes longer than most tests, so CTest runs each program
    # in a few parts.
    foreach(part RANGE 3)
      add_test(NAME ${name}.${part} COMMAND ${name})
      set_tests_properties(${name}.${part} PROPERTIES TIMEOUT 900 LABELS "${arg_LABELS}"
        ENVIRONMENT "GTEST_TOTAL_SHARDS=4;GTEST_SHARD_INDEX=${part};GTEST_BRIEF=1")
    endforeach()
  else()
    gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
    # gtest_discover_tests would keep only the first label, so a file for CTest sets the labels.
    set(labels_file "${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake")
    file(WRITE "${labels_file}"
         "set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"${arg_LABELS}\")\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${labels_file}")
  endif()
  if("concurrency" IN_LIST arg_LABELS)
    add_dependencies(sdm_concurrency_tests ${name})
  endif()
endfunction()
