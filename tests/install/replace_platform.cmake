# Builds a second libvutility, a "vendor's" library that counts its blocks, configures the project
# with it, and runs a program whose messages must be allocated by that library.

include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
file(REMOVE_RECURSE "${WORK_DIR}")
set(vendor "${WORK_DIR}/vendor")

# Only the vendor's header declares vendorLiveBlocks, so the program compiles only with that header.
# Only the vendor's library counts blocks at run time.
file(GLOB headers "${PROJECT_DIR}/platform/libvutility/*.h")
file(COPY ${headers} DESTINATION "${vendor}/include/libvutility")
file(APPEND "${vendor}/include/libvutility/VUGlobal.h" "extern \"C\" long vendorLiveBlocks();\n")
file(GLOB sources "${PROJECT_DIR}/platform/libvutility/*.cpp")
file(MAKE_DIRECTORY "${vendor}/lib")
run("${COMPILER}" -std=c++20 -O2 -fPIC -shared -Wl,-soname,libvutility.so
    -Wl,--wrap=malloc -Wl,--wrap=free "-I${vendor}/include" "-I${PROJECT_DIR}"
    ${sources} "${CMAKE_CURRENT_LIST_DIR}/count_blocks.cpp" -o "${vendor}/lib/libvutility.so")

# The other libraries that messages need do not depend on the allocator, so their existing builds
# are used.
run_with_vendor("${vendor}" libvutility replaced_allocator libdatastr libdatasrc)
