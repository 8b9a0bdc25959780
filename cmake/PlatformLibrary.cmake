# Platform libraries: ours, or the vendor's in the same place.
#
#   add_platform_library(libfoo SOURCES foo.cpp ...
#                        [PUBLIC_DEPENDS platform::libbar ...] [PRIVATE_DEPENDS csv ...])
#
# makes the target platform::libfoo. It is our substitute, built as the shared library libfoo.so from
# the current folder, or, where PLATFORM_libfoo_ROOT names a folder, an imported library found there:
# ROOT/include/libfoo/*.h and ROOT/lib/libfoo.so.

# Include roots: <libfoo/...> from platform/, <ServerDataManager/...> for the headers that stand
# below every library.
set(SDM_PLATFORM_INCLUDE_DIR "${PROJECT_SOURCE_DIR}/platform")
add_library(sdm_ground INTERFACE)
add_library(ServerDataManager::ground ALIAS sdm_ground)
set_target_properties(sdm_ground PROPERTIES EXPORT_NAME ground)
target_include_directories(sdm_ground INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
target_compile_features(sdm_ground INTERFACE cxx_std_20)

function(add_platform_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC_DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  set(PLATFORM_${name}_ROOT "" CACHE PATH "Folder of the vendor's ${name}; empty builds ours")
  if(PLATFORM_${name}_ROOT)
    import_platform_library(${name} "${PLATFORM_${name}_ROOT}" "${arg_PUBLIC_DEPENDS}")
  else()
    build_platform_library(${name} "${arg_SOURCES}" "${arg_PUBLIC_DEPENDS}" "${arg_PRIVATE_DEPENDS}")
  endif()
endfunction()

function(import_platform_library name root depends)
  find_library(PLATFORM_${name}_FILE NAMES "${name}.so" PATHS "${root}/lib" "${root}/lib64"
               NO_DEFAULT_PATH REQUIRED)
  if(NOT IS_DIRECTORY "${root}/include/${name}")
    message(FATAL_ERROR "PLATFORM_${name}_ROOT: no headers in ${root}/include/${name}")
  endif()
  message(STATUS "${name}: the vendor's, ${PLATFORM_${name}_FILE}")
  add_library(platform::${name} SHARED IMPORTED GLOBAL)
  set_target_properties(platform::${name} PROPERTIES
    IMPORTED_LOCATION "${PLATFORM_${name}_FILE}"
    INTERFACE_INCLUDE_DIRECTORIES "${root}/include")
  # Before our own headers: ours stand in the same include root as those of the other libraries.
  set_property(TARGET platform::${name} PROPERTY INTERFACE_COMPILE_OPTIONS "-I${root}/include")
  target_link_libraries(platform::${name} INTERFACE ServerDataManager::ground ${depends})
endfunction()

function(build_platform_library name sources public_depends private_depends)
  add_library(${name} SHARED ${sources})
  add_library(platform::${name} ALIAS ${name})
  # EXPORT_NAME keeps platform::libfoo for those who find the installed package.
  set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME ${name} EXPORT_NAME ${name})
  target_include_directories(${name} PUBLIC
    "$<BUILD_INTERFACE:${SDM_PLATFORM_INCLUDE_DIR}>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  target_link_libraries(${name} PUBLIC ServerDataManager::ground ${public_depends}
                                PRIVATE ${private_depends})
  target_link_options(${name} PRIVATE ${SDM_NO_UNDEFINED_SYMBOLS})
endfunction()
