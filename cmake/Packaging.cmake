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

# The Debian package (`cpack -G DEB` in the build folder): one package with the library, its
# resource modules, the default installation, the tlvutl tool and its man page, the headers
# and the CMake and pkg-config files, installed under /usr. dpkg-shlibdeps (dpkg-dev) works
# out the run-time dependencies from the binaries. Building against the package also needs
# SQLite's development files, which the CMake package looks for: recommended, not required,
# so that a machine that only runs hosts does not pull in a compiler's worth of packages.
set(CPACK_PACKAGE_NAME tlvutl)
set(CPACK_PACKAGE_VENDOR "tlvutl developers")
set(CPACK_PACKAGE_CONTACT "tlvutl developers <tlvutl@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "utility library of a suite of desktop graphics applications")
set(CPACK_PACKAGE_DESCRIPTION
  "Measurement units and numeric fields, XML settings, a registry-style store, ini files,
the installation folders, the paper catalogue, timers, XMP metadata packets and ordered
start-up and shut-down hooks, with the tlvutl command-line tool.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A shlibs file, so that a host's own package gets its dependency on this one from
# dpkg-shlibdeps as well.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libsqlite3-dev, pkg-config")
include(CPack)
