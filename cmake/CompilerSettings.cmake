# Warnings, sanitizers and run paths of all targets of the project.

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# GCC 12 wrongly warns (-Wrestrict) that `"literal" + std::string` copies memory onto itself.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
# Clang checks the use of annotated locks (ServerDataManager/ThreadSafety.h). A vendor's locks have
# no annotations, so builds with a vendor's locks are not checked. The beta option checks the order
# in which locks are acquired.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND NOT PLATFORM_libplatdep_ROOT AND NOT PLATFORM_libsfthread_ROOT)
  set(SDM_CHECK_LOCKS -Wthread-safety -Wthread-safety-beta)
  add_compile_options(${SDM_CHECK_LOCKS})
endif()
if(SDM_DEVELOPER)
  add_compile_options(-Werror)
endif()

if(SDM_SANITIZE)
  add_compile_options(-fsanitize=${SDM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SDM_SANITIZE})
endif()

# An installed program finds the libraries installed beside it, and vendor libraries at their
# original location.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}:$ORIGIN")
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)

# With -z defs, undefined symbols in a shared library are an error. Clang leaves the sanitizers'
# symbols undefined, so sanitizer builds omit -z defs. Builds inside another project also omit -z
# defs, because that project may use sanitizers.
if(SDM_SANITIZE OR NOT PROJECT_IS_TOP_LEVEL)
  set(SDM_NO_UNDEFINED_SYMBOLS "")
else()
  set(SDM_NO_UNDEFINED_SYMBOLS "-Wl,-z,defs")
endif()

# Before version 1, each minor version may break binary compatibility.
set(SDM_SOVERSION ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(SDM_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
endif()

# A library of the project exports only symbols marked SDM_EXPORT (ServerDataManager/Export.h).
function(sdm_library_settings target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${SDM_SOVERSION})
  target_link_options(${target} PRIVATE ${SDM_NO_UNDEFINED_SYMBOLS})
endfunction()

# sdm_find_c_library(foo foo.h) defines the target sdm_foo for the private dependency libfoo, and the
# variable sdm_foo. To link libfoo, use ${sdm_foo}: in this build, it means the target; in the
# installed package, it means the library name foo, because the package of a static build lists its
# private dependencies, but does not contain the target.
function(sdm_find_c_library name header)
  string(TOUPPER ${name} prefix)
  find_path(${prefix}_INCLUDE_DIR ${header} REQUIRED)
  find_library(${prefix}_LIBRARY ${name} REQUIRED)
  mark_as_advanced(${prefix}_INCLUDE_DIR ${prefix}_LIBRARY)
  add_library(sdm_${name} INTERFACE)
  target_include_directories(sdm_${name} SYSTEM INTERFACE "${${prefix}_INCLUDE_DIR}")
  target_link_libraries(sdm_${name} INTERFACE "${${prefix}_LIBRARY}")
  set(sdm_${name} "$<BUILD_INTERFACE:sdm_${name}>" "$<INSTALL_INTERFACE:${name}>" PARENT_SCOPE)
  set_property(GLOBAL APPEND PROPERTY SDM_C_LIBRARIES "${${prefix}_LIBRARY}")
endfunction()
