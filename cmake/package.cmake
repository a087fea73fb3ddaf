# `cpack -G DEB`: three Debian packages, one a component. scripts/package configures for /usr and runs it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "zelboard maintainers")
set(CPACK_PACKAGE_CONTACT "zelboard maintainers <maintainers@zelboard.invalid>")
set(CPACK_COMPONENTS_ALL library development)
if(TARGET zelctl AND TARGET zelsim)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/repack.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
set(CPACK_COMPONENT_TOOLS_DEPENDS library)

set(ZELBOARD_ABOUT "zelboard drives the LEDs, alarm relay, watchdog, power supervision, SFP cages
and modules, clock, temperature sensor and serial flash of a managed 28-port
industrial Ethernet switch through its kernel drivers.\n.\n")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzelboard${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
configure_file(cmake/debian/shlibs.in debian/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "board support of an industrial Ethernet switch - library
${ZELBOARD_ABOUT}This package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzelboard-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "board support of an industrial Ethernet switch - development
${ZELBOARD_ABOUT}This package contains the headers, the static library, and what pkg-config and
CMake need to find them.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zelboard-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "board support of an industrial Ethernet switch - tools
${ZELBOARD_ABOUT}This package contains zelctl, the operator's tool, and zelsim, a virtual switch
on which every dynamically linked program runs without hardware.")

# What every Debian package holds in its folder of documentation; a plain installation does without.
string(TIMESTAMP ZELBOARD_RELEASED "%Y" UTC)
configure_file(cmake/debian/copyright.in debian/copyright @ONLY)
string(TIMESTAMP ZELBOARD_RELEASED "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/debian/changelog.in debian/changelog @ONLY)
zelboard_gzip(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_BINARY_DIR}/debian/CHANGELOG.md.gz)
zelboard_gzip(${PROJECT_BINARY_DIR}/debian/changelog ${PROJECT_BINARY_DIR}/debian/changelog.gz)
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} name)
  install(FILES ${PROJECT_BINARY_DIR}/debian/CHANGELOG.md.gz ${PROJECT_BINARY_DIR}/debian/changelog.gz
    ${PROJECT_BINARY_DIR}/debian/copyright COMPONENT ${component} EXCLUDE_FROM_ALL
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME})
endforeach()
install(DIRECTORY examples COMPONENT development EXCLUDE_FROM_ALL
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME})
include(CPack)
