# The installed files, the package for find_package(ServerDataManager), and the archive that cpack
# makes. Include this file after all targets are defined.

include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/ServerDataManager")
get_property(platform_libraries GLOBAL PROPERTY SDM_PLATFORM_LIBRARIES)
list(TRANSFORM platform_libraries PREPEND sdm_ OUTPUT_VARIABLE platform_targets)
get_property(SDM_PLATFORM_IMPORTS GLOBAL PROPERTY SDM_PLATFORM_IMPORTS)

# One export for each layer. ServerDataManagerConfig.cmake.in includes the lowest layer first.
install(TARGETS sdm_ground EXPORT GroundTargets)
install(TARGETS ${platform_targets} sdm_PackageProxy EXPORT PlatformTargets)
install(TARGETS ServerDataManager sdm_client sdm_stream EXPORT ServerDataManagerTargets)
if(TARGET sdmsh)
  install(TARGETS sdmsh)
  install(FILES tools/sdmsh/sdmsh.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
endif()

install(EXPORT GroundTargets NAMESPACE ServerDataManager:: DESTINATION "${package_dir}")
install(EXPORT PlatformTargets NAMESPACE platform:: DESTINATION "${package_dir}")
install(EXPORT ServerDataManagerTargets NAMESPACE ServerDataManager:: DESTINATION "${package_dir}")
set(SDM_FIND_DEPENDENCIES "")
if(NOT BUILD_SHARED_LIBS)
  set(SDM_FIND_DEPENDENCIES "include(CMakeFindDependencyMacro)\nfind_dependency(Threads)")
endif()
configure_package_config_file(cmake/ServerDataManagerConfig.cmake.in
  "${PROJECT_BINARY_DIR}/ServerDataManagerConfig.cmake" INSTALL_DESTINATION "${package_dir}")
set(compatibility SameMajorVersion)
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(compatibility SameMinorVersion)  # like the sonames
endif()
write_basic_package_version_file("${PROJECT_BINARY_DIR}/ServerDataManagerConfigVersion.cmake"
  COMPATIBILITY ${compatibility})
install(FILES "${PROJECT_BINARY_DIR}/ServerDataManagerConfig.cmake"
              "${PROJECT_BINARY_DIR}/ServerDataManagerConfigVersion.cmake"
              cmake/ImportPlatformLibrary.cmake
        DESTINATION "${package_dir}")

# The public headers of the library, of the client libraries and of bundled platform libraries.
get_directory_property(public_headers
  DIRECTORY ServerDataManager DEFINITION ServerDataManager_PUBLIC_HEADERS)
list(TRANSFORM public_headers PREPEND ServerDataManager/)
install(FILES ${public_headers} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ServerDataManager")
install(DIRECTORY client DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h" PATTERN tests EXCLUDE PATTERN internal EXCLUDE)
foreach(folder IN LISTS platform_libraries ITEMS PackageProxy)
  install(DIRECTORY platform/${folder} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
          FILES_MATCHING PATTERN "*.h" PATTERN tests EXCLUDE PATTERN internal EXCLUDE)
endforeach()

# The installed README lists the required system libraries, by soname and by Debian package. Both
# names follow from the file name: libxxhash.so.0.8.1 gives libxxhash.so.0 and libxxhash0.
get_property(c_libraries GLOBAL PROPERTY SDM_C_LIBRARIES)
set(SDM_SYSTEM_LIBRARIES "")
foreach(library IN LISTS c_libraries)
  file(REAL_PATH "${library}" library)
  if(library MATCHES "([^/]*)\\.so\\.([0-9]+)")
    set(package "${CMAKE_MATCH_1}${CMAKE_MATCH_2}")
    if(package STREQUAL "libz1")  # the exception
      set(package zlib1g)
    endif()
    string(APPEND SDM_SYSTEM_LIBRARIES
      "- `${CMAKE_MATCH_1}.so.${CMAKE_MATCH_2}` (Debian: ${package})\n")
  endif()
endforeach()
cmake_host_system_information(RESULT SDM_BUILT_ON QUERY DISTRIB_PRETTY_NAME)
configure_file(cmake/installed-README.md.in "${PROJECT_BINARY_DIR}/installed/README.md" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/installed/README.md" LICENSE CHANGELOG.md
        DESTINATION "${CMAKE_INSTALL_DOCDIR}")

if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_VENDOR "the ServerDataManager maintainers")
set(CPACK_STRIP_FILES ON)
include(CPack)
