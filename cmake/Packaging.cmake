# Installation: the library, its headers, the resource modules (resources/), the CLI
# (tools/tlvutl), the default installation tree (installation/), a CMake package and a
# pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS tlvutl EXPORT tlvutlTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/tlvutl DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT tlvutlTargets NAMESPACE tlvutl:: FILE tlvutlTargets.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tlvutl COMPONENT development)

configure_package_config_file(cmake/tlvutlConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tlvutlConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tlvutl)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tlvutlConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tlvutlConfig.cmake ${PROJECT_BINARY_DIR}/tlvutlConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tlvutl COMPONENT development)

# Relocatable: the prefix is found from the .pc file itself.
file(RELATIVE_PATH TLVUTL_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/tlvutl.pc.in ${PROJECT_BINARY_DIR}/tlvutl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tlvutl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
