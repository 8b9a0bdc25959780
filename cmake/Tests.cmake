# sdm_add_test(name SOURCES ... [LINKS ...] [LABELS ...]): one GoogleTest executable, each of its
# tests known to CTest by its own name. Labels choose what a sanitizer run plays; the target
# sdm_concurrency_tests builds those with the label concurrency and nothing else.

find_package(GTest REQUIRED)
include(GoogleTest)
add_custom_target(sdm_concurrency_tests)

function(sdm_add_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LINKS} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
  # The discovery would lose all labels but the first, so they are given when CTest reads its list.
  set(labels_file "${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake")
  file(WRITE "${labels_file}"
       "set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"${arg_LABELS}\")\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${labels_file}")
  if("concurrency" IN_LIST arg_LABELS)
    add_dependencies(sdm_concurrency_tests ${name})
  endif()
endfunction()
