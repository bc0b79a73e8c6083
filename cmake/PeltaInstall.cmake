# Libraries, headers, the command, the CMake package and pelta.pc.
include(CMakePackageConfigHelpers)

# Every installed file finds the others from where it stands itself, so that an installed tree can be moved.
file(RELATIVE_PATH programsToLibraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pkgconfigToHeaders ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})

set(packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/pelta)
set(installed pelta)
if(PELTA_HOST)
  list(APPEND installed peltahost)
endif()
set_target_properties(${installed} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ${installed} EXPORT pelta-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/pelta DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT pelta-targets NAMESPACE pelta:: DESTINATION ${packageFolder})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/pelta-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/pelta-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/pelta-config.cmake
  INSTALL_DESTINATION ${packageFolder})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pelta-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/pelta-config-version.cmake
  DESTINATION ${packageFolder})

if(PELTA_HOST)
  set(pcLibs "-lpelta -lpeltahost")
else()
  set(pcLibs "-lpelta")
endif()
configure_file(cmake/pelta.pc.in ${CMAKE_CURRENT_BINARY_DIR}/pelta.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pelta.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET pelta_command)
  set_target_properties(pelta_command PROPERTIES INSTALL_RPATH "$ORIGIN/${programsToLibraries}")
  install(TARGETS pelta_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
