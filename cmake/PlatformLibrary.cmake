# Platform libraries: bundled, or the vendor's instead.
#
#   add_platform_library(libfoo SOURCES foo.cpp ...
#                        [PUBLIC_DEPENDS platform::libbar ...] [PRIVATE_DEPENDS utf8proc ...])
#
# defines the target platform::libfoo. If PLATFORM_libfoo_ROOT is set to a folder, ROOT, the target
# is the vendor's library: ROOT/lib/libfoo.so with headers ROOT/include/libfoo/*.h. Otherwise it is
# the bundled library, built from the current folder as libfoo.so (libfoo.a in a static build).

include(ImportPlatformLibrary)

# Include roots: platform/ for <libfoo/...>, and the project's root for the <ServerDataManager/...>
# headers that platform libraries use.
set(SDM_PLATFORM_INCLUDE_DIR "${PROJECT_SOURCE_DIR}/platform")
add_library(sdm_ground INTERFACE)
add_library(ServerDataManager::ground ALIAS sdm_ground)
set_target_properties(sdm_ground PROPERTIES EXPORT_NAME ground)
target_include_directories(sdm_ground INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
target_compile_features(sdm_ground INTERFACE cxx_std_20)

# Puts a vendor's headers before the bundled headers of the same name. The folder that is searched
# first contains only a symbolic link to ROOT/include/libfoo, because ROOT/include may also contain
# headers of other libraries.
function(put_vendor_headers_first)
  get_cmake_property(variables CACHE_VARIABLES)
  foreach(variable IN LISTS variables)
    if(variable MATCHES "^PLATFORM_(.+)_ROOT$" AND ${variable})
      set(name "${CMAKE_MATCH_1}")
      if(NOT IS_DIRECTORY "${SDM_PLATFORM_INCLUDE_DIR}/${name}")
        message(FATAL_ERROR "${variable}: there is no platform library ${name}")
      endif()
      set(${variable} "" CACHE PATH "")  # a PATH entry becomes absolute
      if(NOT IS_DIRECTORY "${${variable}}/include/${name}")
        message(FATAL_ERROR "${variable}: no headers in ${${variable}}/include/${name}")
      endif()
      set(headers "${PROJECT_BINARY_DIR}/replaced/${name}")
      file(MAKE_DIRECTORY "${headers}")
      file(CREATE_LINK "${${variable}}/include/${name}" "${headers}/${name}" SYMBOLIC)
      include_directories(BEFORE "${headers}")
    endif()
  endforeach()
endfunction()
put_vendor_headers_first()

function(add_platform_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC_DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  set(PLATFORM_${name}_ROOT "" CACHE PATH "Folder of the vendor's ${name}; empty builds ours")
  if(PLATFORM_${name}_ROOT)
    import_platform_library(${name} "${PLATFORM_${name}_ROOT}" ${arg_PUBLIC_DEPENDS})
    list(JOIN arg_PUBLIC_DEPENDS " " depends)
    # The package configuration repeats this call in projects that use the package.
    set_property(GLOBAL APPEND_STRING PROPERTY SDM_PLATFORM_IMPORTS
      "import_platform_library(${name} \"${PLATFORM_${name}_ROOT}\" ${depends})\n")
  else()
    build_platform_library(${name} "${arg_SOURCES}" "${arg_PUBLIC_DEPENDS}" "${arg_PRIVATE_DEPENDS}")
    set_property(GLOBAL APPEND PROPERTY SDM_PLATFORM_LIBRARIES ${name})
  endif()
endfunction()

function(build_platform_library name sources public_depends private_depends)
  set(target sdm_${name})
  add_library(${target} ${sources})
  add_library(platform::${name} ALIAS ${target})
  sdm_library_settings(${target})
  # EXPORT_NAME keeps the name platform::libfoo in the installed package.
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${name} EXPORT_NAME ${name})
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${SDM_PLATFORM_INCLUDE_DIR}>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  target_link_libraries(${target} PUBLIC ServerDataManager::ground ${public_depends}
                                  PRIVATE ${private_depends})
endfunction()
