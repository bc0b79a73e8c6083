# The Debian packages libpelta1, libpelta-dev and pelta: what scripts/package builds.
set(documents ${CMAKE_CURRENT_BINARY_DIR}/documents)
set(revision 1)

# Copyright and change logs, in each package.
file(MAKE_DIRECTORY ${documents})
string(REGEX MATCH "^[0-9]+" year ${PELTA_RELEASE_DATE})
execute_process(COMMAND date -R -u -d ${PELTA_RELEASE_DATE} OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
set(maintainer "Pelta maintainers <maintainers@pelta.example>")
configure_file(cmake/packages/changelog.in ${documents}/changelog.Debian @ONLY)
configure_file(CHANGELOG.md ${documents}/changelog COPYONLY)
execute_process(COMMAND gzip -9nf ${documents}/changelog ${documents}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
configure_file(cmake/packages/copyright.in ${documents}/copyright @ONLY)
foreach(package IN ITEMS libpelta1 libpelta-dev pelta)
  install(FILES ${documents}/copyright ${documents}/changelog.gz ${documents}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${package})
endforeach()
# The notices of the header libraries that are compiled into the command.
foreach(package IN ITEMS libcli11-dev libtomlplusplus-dev nlohmann-json3-dev)
  install(FILES /usr/share/doc/${package}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/pelta
    RENAME copyright.${package} COMPONENT pelta)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libpelta1 libpelta-dev pelta)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
  WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has one of its own
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${revision})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/lib ${CMAKE_CURRENT_BINARY_DIR}/host)

set(sameVersion "libpelta1 (= ${PROJECT_VERSION}-${revision})")
# debian_package(name SECTION section DEPENDS packages DESCRIPTION lines ...)
macro(debian_package name)
  cmake_parse_arguments(p "" "SECTION;DEPENDS" "DESCRIPTION" ${ARGN})
  string(TOUPPER ${name} component)
  list(JOIN p_DESCRIPTION "\n" description)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${p_SECTION})
  set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${p_DEPENDS}")
  set(CPACK_DEBIAN_${component}_DESCRIPTION "${description}")
endmacro()

debian_package(libpelta1 SECTION libs DESCRIPTION
  "seismic trace processing, shared libraries"
  "Filters, moveout, gain, mutes, first-break picking, robust regression, meshes"
  "and surfaces through scattered points for seismic traces, with the same bits"
  "on every machine."
  "."
  "The package holds libpelta and libpeltahost, which stands in for the"
  "processing host that supplies transforms, convolution and sorting.")
debian_package(libpelta-dev SECTION libdevel DEPENDS "${sameVersion}" DESCRIPTION
  "seismic trace processing, files for development"
  "Headers of libpelta for C and C++, and what pkg-config and CMake need to find"
  "it.")
debian_package(pelta SECTION science DEPENDS "${sameVersion}" DESCRIPTION
  "seismic trace processing on SEG-Y files"
  "Filters, corrects, balances and picks the traces of SEG-Y files, sorts and"
  "stacks them, analyses velocities, grids scattered points, and draws sections."
  "Flows of several steps are written as TOML.")

file(WRITE ${documents}/triggers "activate-noawait ldconfig\n")
file(WRITE ${documents}/shlibs "libpelta 1 libpelta1\nlibpeltahost 1 libpelta1\n")
set(CPACK_DEBIAN_LIBPELTA1_PACKAGE_CONTROL_EXTRA "${documents}/triggers;${documents}/shlibs")
set(CPACK_DEBIAN_LIBPELTA1_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
