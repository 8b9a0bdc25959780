# import_platform_library(libfoo ROOT DEPENDS...) defines the target platform::libfoo for a vendor's
# library: ROOT/lib/libfoo.so, or in lib64, with headers in ROOT/include/libfoo. This file is
# installed with the package, because projects that use the package need the same target.

function(import_platform_library name root)
  find_library(PLATFORM_${name}_FILE NAMES "${name}.so" PATHS "${root}/lib" "${root}/lib64"
               NO_DEFAULT_PATH NO_CACHE REQUIRED)
  message(STATUS "${name}: the vendor's, ${PLATFORM_${name}_FILE}")
  add_library(platform::${name} SHARED IMPORTED GLOBAL)
  set_target_properties(platform::${name} PROPERTIES
    IMPORTED_LOCATION "${PLATFORM_${name}_FILE}"
    INTERFACE_INCLUDE_DIRECTORIES "${root}/include")
  target_link_libraries(platform::${name} INTERFACE ServerDataManager::ground ${ARGN})
endfunction()
