# Builds a second libsfthread, whose sfMutexRW is a "vendor's" lock, configures the project with it,
# and runs a program in which the lock monitor must observe that lock.

include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
file(REMOVE_RECURSE "${WORK_DIR}")
set(vendor "${WORK_DIR}/vendor")
set(lock "${CMAKE_CURRENT_LIST_DIR}/vendor_lock")

file(GLOB headers "${PROJECT_DIR}/platform/libsfthread/*.h")
# Only the vendor's sfMutexRW.h may be copied: file(COPY) keeps the first of two files with the same
# name and time.
list(FILTER headers EXCLUDE REGEX "/sfMutexRW\\.h$")
file(COPY ${headers} "${lock}/sfMutexRW.h" DESTINATION "${vendor}/include/libsfthread")
file(MAKE_DIRECTORY "${vendor}/lib")
run("${COMPILER}" -std=c++20 -fPIC -shared -Wl,-soname,libsfthread.so
    "-I${vendor}/include" "-I${PROJECT_DIR}" "${lock}/sfMutexRW.cpp"
    "${PROJECT_DIR}/platform/libsfthread/sfGuard.cpp" "${PROJECT_DIR}/platform/libsfthread/sfMutex.cpp"
    -o "${vendor}/lib/libsfthread.so")

run_with_vendor("${vendor}" libsfthread replaced_lock
  libdatasrc libdatastr liborvxdemg liborvxmsgs libplatdep libvserial libvutility)

set(time "for [0-9]+\\.[0-9] s")
set(thread "thread [0-9]+")
foreach(text IN ITEMS
        "^dataset 0:0\n  ${thread} writes as \"import\" ${time}\n  ${thread} waits to read as \"means\" ${time}\n"
        "\ndeadlock: ${thread} waits to read dataset 0:[12], which ${thread} writes; ${thread} waits to read dataset 0:[12], which ${thread} writes\n"
        "\ncalls of the vendor's lock: [1-9]")
  if(NOT RUN_OUTPUT MATCHES "${text}")
    message(FATAL_ERROR "The output does not match: ${text}")
  endif()
endforeach()
