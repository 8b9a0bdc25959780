# What `cmake --install` puts where, the package that find_package(ServerDataManager) reads, and the
# archive that cpack makes of both. Included after every target is there.

include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/ServerDataManager")
get_property(platform_targets GLOBAL PROPERTY SDM_PLATFORM_TARGETS)
get_property(SDM_PLATFORM_IMPORTS GLOBAL PROPERTY SDM_PLATFORM_IMPORTS)

# One export per floor: each is read after the one that it stands on.
install(TARGETS sdm_ground EXPORT GroundTargets)
install(TARGETS ${platform_targets} PackageProxy EXPORT PlatformTargets)
install(TARGETS ServerDataManager sdm_client sdm_stream EXPORT ServerDataManagerTargets)
install(TARGETS sdmsh)

install(EXPORT GroundTargets NAMESPACE ServerDataManager:: DESTINATION "${package_dir}")
install(EXPORT PlatformTargets NAMESPACE platform:: DESTINATION "${package_dir}")
install(EXPORT ServerDataManagerTargets NAMESPACE ServerDataManager:: DESTINATION "${package_dir}")
configure_package_config_file(cmake/ServerDataManagerConfig.cmake.in
  "${PROJECT_BINARY_DIR}/ServerDataManagerConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/ServerDataManagerConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/ServerDataManagerConfig.cmake"
              "${PROJECT_BINARY_DIR}/ServerDataManagerConfigVersion.cmake"
              cmake/ImportPlatformLibrary.cmake
        DESTINATION "${package_dir}")

# Headers: the library names its public ones; of a platform library that the vendor brings, none.
get_directory_property(public_headers
  DIRECTORY ServerDataManager DEFINITION ServerDataManager_PUBLIC_HEADERS)
list(TRANSFORM public_headers PREPEND ServerDataManager/)
install(FILES ${public_headers} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ServerDataManager")
install(DIRECTORY client DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h" PATTERN tests EXCLUDE PATTERN internal EXCLUDE)
foreach(folder IN LISTS platform_targets ITEMS PackageProxy)
  install(DIRECTORY platform/${folder} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
          FILES_MATCHING PATTERN "*.h" PATTERN tests EXCLUDE PATTERN internal EXCLUDE)
endforeach()
install(FILES README.md LICENSE CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")

set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_VENDOR "the ServerDataManager maintainers")
set(CPACK_STRIP_FILES ON)
include(CPack)
