# cmake --install: headers, library, import library, program, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS qz_shared EXPORT qz
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET qz_tool)
  install(TARGETS qz_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${QZ_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qz)

install(EXPORT qz NAMESPACE qz:: FILE qz-targets.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qz)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/qz-config.cmake.in ${CMAKE_BINARY_DIR}/qz-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qz)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qz-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qz-config.cmake ${CMAKE_BINARY_DIR}/qz-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qz)

# The file finds the package from where it stands itself; the library folder may have several levels.
file(RELATIVE_PATH QZ_PREFIX_FROM_PKGCONFIG
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_SOURCE_DIR}/cmake/qz.pc.in ${CMAKE_BINARY_DIR}/qz.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qz.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
