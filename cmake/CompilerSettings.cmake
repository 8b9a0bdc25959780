# Warnings, sanitizers and run paths that every target of the project shares.

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# GCC 12 takes `"literal" + std::string` for a copy onto itself.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
if(SDM_DEVELOPER)
  add_compile_options(-Werror)
endif()

if(SDM_SANITIZE)
  add_compile_options(-fsanitize=${SDM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SDM_SANITIZE})
endif()

# An installed program finds the libraries installed beside it, and the vendor's where they were.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}:$ORIGIN")
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)

# Clang leaves the sanitizer run time out of shared libraries, so -z defs cannot hold there. What the
# surrounding build of a part of it asks for is not known here.
if(SDM_SANITIZE OR NOT PROJECT_IS_TOP_LEVEL)
  set(SDM_NO_UNDEFINED_SYMBOLS "")
else()
  set(SDM_NO_UNDEFINED_SYMBOLS "-Wl,-z,defs")
endif()

# Before version 1, each minor version may break what was compiled against another.
set(SDM_SOVERSION ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(SDM_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
endif()

# A library of the project exports what carries SDM_EXPORT (ServerDataManager/Export.h).
function(sdm_library_settings target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${SDM_SOVERSION})
  target_link_options(${target} PRIVATE ${SDM_NO_UNDEFINED_SYMBOLS})
endfunction()

# sdm_find_c_library(foo foo.h): the target sdm_foo, for what a library uses inside itself. Link it with
# ${sdm_foo}: the installed package knows nothing of the target and names the library to the linker,
# which needs it in a static build.
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
