# Libraries, headers, the command with its manual pages and its completion, the CMake package and pelta.pc.
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
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libpelta1 NAMELINK_COMPONENT libpelta-dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/pelta DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libpelta-dev FILES_MATCHING PATTERN "*.h")
install(EXPORT pelta-targets NAMESPACE pelta:: DESTINATION ${packageFolder} COMPONENT libpelta-dev)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/pelta-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/pelta-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/pelta-config.cmake
  INSTALL_DESTINATION ${packageFolder})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pelta-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/pelta-config-version.cmake
  DESTINATION ${packageFolder} COMPONENT libpelta-dev)

if(PELTA_HOST)
  set(pcLibs "-lpelta -lpeltahost")
else()
  set(pcLibs "-lpelta")
endif()
configure_file(cmake/pelta.pc.in ${CMAKE_CURRENT_BINARY_DIR}/pelta.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pelta.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT libpelta-dev)

if(TARGET pelta_command)
  set_target_properties(pelta_command PROPERTIES INSTALL_RPATH "$ORIGIN/${programsToLibraries}")
  install(TARGETS pelta_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT pelta)
  set(manual ${PROJECT_SOURCE_DIR}/docs/man)
  if(PELTA_PACKAGES)
    set(manual ${CMAKE_CURRENT_BINARY_DIR}/man)
    file(REMOVE_RECURSE ${manual})
    file(COPY docs/man DESTINATION ${CMAKE_CURRENT_BINARY_DIR})
    file(GLOB pages ${manual}/*.[15])
    execute_process(COMMAND gzip -9nf ${pages} COMMAND_ERROR_IS_FATAL ANY)
  endif()
  foreach(section IN ITEMS 1 5)
    install(DIRECTORY ${manual}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT pelta
      FILES_MATCHING PATTERN "*.${section}" PATTERN "*.${section}.gz")
  endforeach()
  install(FILES docs/completion/pelta.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME pelta
    COMPONENT pelta)
endif()
