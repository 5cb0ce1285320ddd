# What a host takes home: the shared library, its public headers, a CMake package, a pkg-config file, and with CPack the
# two Debian packages libnetweft3 (the library) and libnetweft-dev (all the rest).
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(netweft_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Netweft")

install(TARGETS netweft EXPORT NetweftTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
# Folders named internal hold what hosts must not see; no public header includes from there.
install(DIRECTORY netweft DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN internal EXCLUDE)
install(EXPORT NetweftTargets NAMESPACE Netweft:: DESTINATION "${netweft_package_dir}" COMPONENT development)

configure_package_config_file(cmake/NetweftConfig.cmake.in "${CMAKE_CURRENT_BINARY_DIR}/NetweftConfig.cmake"
  INSTALL_DESTINATION "${netweft_package_dir}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/NetweftConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
# The file finds its prefix from where it stands, so that the installed tree may be moved, and packed for another prefix.
set(netweft_pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH netweft_pc_to_prefix "/${netweft_pc_dir}" "/")
configure_file(cmake/netweft.pc.in netweft.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/NetweftConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/NetweftConfigVersion.cmake"
  DESTINATION "${netweft_package_dir}" COMPONENT development)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/netweft.pc" DESTINATION "${netweft_pc_dir}" COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME netweft)
set(CPACK_PACKAGE_VENDOR Netweft)
set(CPACK_PACKAGE_CONTACT "The Netweft team <netweft@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libnetweft${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libnetweft-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libnetweft${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libstdc++-12-dev | libstdc++-dev")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}: the shared library.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION}: headers and what build systems need.")
set(CPACK_STRIP_FILES ON)
include(CPack)
