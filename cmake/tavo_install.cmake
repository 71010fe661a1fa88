# What `cmake --install` lays out, in two components: runtime, and dev for building against it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(tavo_core tavo_cv PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
set_target_properties(tavo_core PROPERTIES EXPORT_NAME core)
# The two lie side by side wherever the installation is moved to.
set_target_properties(tavo_cv PROPERTIES EXPORT_NAME cv INSTALL_RPATH "$ORIGIN")

install(TARGETS tavo_core tavo_cv EXPORT tavo_cv-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

set(generated ${PROJECT_BINARY_DIR}/cmake)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/tavo_cv)
install(EXPORT tavo_cv-targets NAMESPACE tavo:: DESTINATION ${config_folder} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tavo_cv-config.cmake.in
    ${generated}/tavo_cv-config.cmake INSTALL_DESTINATION ${config_folder})
write_basic_package_version_file(${generated}/tavo_cv-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${generated}/tavo_cv-config.cmake ${generated}/tavo_cv-config-version.cmake
    DESTINATION ${config_folder} COMPONENT dev)

# The prefix as seen from the folder of tavo_cv.pc: an installation may be moved.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(up_to_prefix /)
cmake_path(RELATIVE_PATH up_to_prefix BASE_DIRECTORY /${pkgconfig_folder})
configure_file(${CMAKE_CURRENT_LIST_DIR}/tavo_cv.pc.in ${generated}/tavo_cv.pc @ONLY)
install(FILES ${generated}/tavo_cv.pc DESTINATION ${pkgconfig_folder} COMPONENT dev)
