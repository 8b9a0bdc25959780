# Warnings, sanitizers and run paths that every target of the project shares.

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
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

# Clang leaves the sanitizer run time out of shared libraries, so -z defs cannot hold there.
if(SDM_SANITIZE)
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
