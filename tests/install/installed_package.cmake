# Installs the build into a temporary prefix and moves the prefix. Then checks the documents and the
# libraries. Then compiles the headers, and a project that uses the package, with GCC and with Clang
# if they are installed. Many warnings are switched on, and each warning is an error. At the end,
# requests unknown versions and components, and runs the shell if it is installed.

include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/Consumer.cmake")
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/moved")

run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/prefix")
file(RENAME "${WORK_DIR}/prefix" "${prefix}")

# --- documents: every link exists, and the README lists the required packages ---

file(GLOB_RECURSE documents "${prefix}/*.md")
foreach(document IN LISTS documents)
  file(READ "${document}" text)
  get_filename_component(folder "${document}" DIRECTORY)
  string(REPLACE "](" "@" text "${text}")  # brackets have a special meaning in lists
  string(REGEX MATCHALL "@[^):#]+[)#]" links "${text}")
  foreach(link IN LISTS links)
    string(REGEX REPLACE "[@)#]" "" link "${link}")
    if(NOT EXISTS "${folder}/${link}")
      message(SEND_ERROR "${document}: no such file: ${link}")
    endif()
  endforeach()
endforeach()

file(GLOB_RECURSE readme "${prefix}/share/*/README.md")
file(READ "${readme}" readme)
file(GLOB libraries RELATIVE "${prefix}/lib" "${prefix}/lib/*.so")
list(LENGTH libraries count)
if(NOT count EQUAL 11)
  message(SEND_ERROR "${count} libraries were installed: ${libraries}")
endif()
foreach(library IN LISTS libraries)
  run("${READELF}" --dynamic "${prefix}/lib/${library}")
  if(NOT RUN_OUTPUT MATCHES "SONAME[^\n]*\\.so\\.[0-9]")
    message(SEND_ERROR "${library} has no versioned soname")
  endif()
  string(REPLACE "[" "@" output "${RUN_OUTPUT}")
  string(REGEX MATCHALL "Shared library: @[^]\n]+" needed "${output}")
  foreach(name IN LISTS needed)
    string(REGEX REPLACE ".*@" "" name "${name}")
    string(FIND "${readme}" "`${name}`" place)
    string(REGEX REPLACE "so\\..*" "so" ours "${name}")
    if(place EQUAL -1 AND NOT ours IN_LIST libraries AND NOT name MATCHES
       "^(libc|libm|libstdc\\+\\+|libgcc_s|libpthread|libatomic|ld-.*)\\.so\\.[0-9]+$")
      message(SEND_ERROR "${library} needs ${name}, which the README does not name")
    endif()
  endforeach()
endforeach()

# --- headers: none includes a file that is not installed ---

file(GLOB_RECURSE headers RELATIVE "${prefix}/include" "${prefix}/include/*.h")
list(LENGTH headers count)
if(count LESS 20)
  message(FATAL_ERROR "Only ${count} headers were installed: ${headers}")
endif()
list(TRANSFORM headers REPLACE "(.+)" "#include <\\1>\n" OUTPUT_VARIABLE inclusions)
file(WRITE "${WORK_DIR}/all_headers.cpp" ${inclusions})

# Each header must compile alone. If foo.cpp includes foo.h first, the build has already shown this
# for foo.h. The remaining headers are compiled here.
set(headers_alone "")
foreach(header IN LISTS headers)
  string(REGEX REPLACE "h$" "cpp" source "${header}")
  set(first "")
  foreach(folder IN ITEMS "${PROJECT_DIR}" "${PROJECT_DIR}/platform")
    if(EXISTS "${folder}/${source}")
      file(STRINGS "${folder}/${source}" first REGEX "^#include" LIMIT_COUNT 1)
    endif()
  endforeach()
  if(NOT first STREQUAL "#include <${header}>")
    list(APPEND headers_alone "${prefix}/include/${header}")
  endif()
endforeach()
run("${COMPILER}" -std=c++20 -fsyntax-only -I "${prefix}/include" -x c++ ${headers_alone})

# --- a separate project ---

set(GNU_WARNINGS -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast)
# All warnings except warnings about older standards, padding, classes whose virtual functions are
# all inline or pure, and the reserved name _ORVXMBstricmp_A.
set(Clang_WARNINGS -Weverything -Wno-c++98-compat -Wno-c++98-compat-pedantic -Wno-padded
    -Wno-weak-vtables -Wno-reserved-identifier)

function(configure_consumer compiler folder)
  run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${folder}" -G Ninja
      "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${compiler}" ${ARGN})
endfunction()

foreach(kind IN ITEMS GNU Clang)
  if(NOT ${kind}_COMPILER)
    message(STATUS "No ${kind} compiler here: the package was not tried with it")
    continue()
  endif()
  set(flags ${${kind}_WARNINGS} -Werror)
  run("${${kind}_COMPILER}" -std=c++20 -fsyntax-only ${flags} -I "${prefix}/include" "${WORK_DIR}/all_headers.cpp")
  list(JOIN flags " " flags)
  configure_consumer("${${kind}_COMPILER}" "${WORK_DIR}/${kind}" "-DCMAKE_CXX_FLAGS=${flags}")
  run("${CMAKE_COMMAND}" --build "${WORK_DIR}/${kind}")
  check_consumer("${WORK_DIR}/${kind}")
endforeach()

# --- unknown versions and components are not found ---

function(expect_not_found expected)
  execute_process(COMMAND "${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${WORK_DIR}/none" -G Ninja
                          "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${COMPILER}" ${ARGN}
                  RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE output)
  string(REGEX REPLACE "[ \n]+" " " output "${output}")
  if(result EQUAL 0 OR NOT output MATCHES "${expected}")
    message(FATAL_ERROR "find_package ended with ${result} and not with '${expected}': ${output}")
  endif()
endfunction()

expect_not_found("has no component nonsense" -DCOMPONENTS=nonsense)
expect_not_found("compatible with requested version \"0.0\"" -DCOMPONENTS=client -DVERSION=0.0)

if(EXISTS "${prefix}/bin/sdmsh")
  if(NOT EXISTS "${prefix}/share/man/man1/sdmsh.1")
    message(SEND_ERROR "sdmsh was installed without its manual page")
  endif()
  run("${CMAKE_COMMAND}" -E chdir "${PROJECT_DIR}" "${prefix}/bin/sdmsh" examples/survey.sdm)
endif()
