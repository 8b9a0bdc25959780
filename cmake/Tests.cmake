# sdm_add_test(name SOURCES ... [LINKS ...] [LABELS ...]): a GoogleTest executable; CTest lists each
# of its tests by name. Sanitizer runs select tests by label; the target sdm_concurrency_tests
# builds only those with the label concurrency.

find_package(GTest REQUIRED)
include(GoogleTest)
add_custom_target(sdm_concurrency_tests)

# Compiling takes longer than running, so test sources are not optimised (unlike the libraries under
# test), and common system headers are precompiled. Headers of the project are not: each source
# includes the headers that it uses.
function(sdm_test_settings target)
  target_compile_options(${target} PRIVATE -O0)
  target_link_libraries(${target} PRIVATE GTest::gmock)
  if(target STREQUAL sdm_precompiled_headers)
    target_precompile_headers(${target} PRIVATE <gmock/gmock.h> <algorithm> <array> <atomic>
      <filesystem> <fstream> <functional> <latch> <memory> <new> <optional> <sstream> <stdexcept>
      <string> <thread> <utility> <vector>)
  else()
    target_precompile_headers(${target} REUSE_FROM sdm_precompiled_headers)
  endif()
endfunction()

# An executable, because only targets with the same flags can share precompiled headers.
file(WRITE "${PROJECT_BINARY_DIR}/sdm_precompiled_headers.cpp" "int main() {}\n")
add_executable(sdm_precompiled_headers EXCLUDE_FROM_ALL
               "${PROJECT_BINARY_DIR}/sdm_precompiled_headers.cpp")
sdm_test_settings(sdm_precompiled_headers)

function(sdm_add_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  sdm_test_settings(${name})
  target_link_libraries(${name} PRIVATE ${arg_LINKS} GTest::gtest_main)
  gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
  # Test discovery would lose all labels but the first, so they are set when CTest reads its list.
  set(labels_file "${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake")
  file(WRITE "${labels_file}"
       "set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"${arg_LABELS}\")\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${labels_file}")
  if("concurrency" IN_LIST arg_LABELS)
    add_dependencies(sdm_concurrency_tests ${name})
  endif()
endfunction()
