# `cpack -G DEB`: Debian packages, one a component. scripts/package configures for /usr and runs it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "zelboard maintainers")
set(CPACK_PACKAGE_CONTACT "zelboard maintainers <maintainers@zelboard.invalid>")
set(CPACK_COMPONENTS_ALL "")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/repack.cmake)
set(CPACK_DEBIAN_COMPRESSION_TYPE none)  # the script above compresses
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
if(CMAKE_CROSSCOMPILING)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_FIND_ROOT_PATH}/lib)
endif()
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(ZELBOARD_ABOUT "zelboard drives the LEDs, alarm relay, watchdog, power supervision, SFP cages
and modules, clock, temperature sensor and serial flash of a managed 28-port
industrial Ethernet switch through its kernel drivers.\n.\n")

# Files for each Debian package's folder of documentation. A plain installation does not have them.
string(TIMESTAMP ZELBOARD_RELEASED "%Y" UTC)
configure_file(cmake/debian/copyright.in debian/copyright @ONLY)
string(TIMESTAMP ZELBOARD_RELEASED "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/debian/changelog.in debian/changelog @ONLY)
zelboard_gzip(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_BINARY_DIR}/debian/CHANGELOG.md.gz)
zelboard_gzip(${PROJECT_BINARY_DIR}/debian/changelog ${PROJECT_BINARY_DIR}/debian/changelog.gz)

# zelboard_package(COMPONENT PACKAGE SECTION TITLE TEXT [NEEDS COMPONENT ...] [DEPENDS DEBIAN_PACKAGE ...]
#   [RECOMMENDS DEBIAN_PACKAGE ...] [EXTRA FILE ...] [PORTABLE] [LINKS_NOTHING]) makes a component a package.
#  NEEDS          components that it needs in the same version
#  DEPENDS        Debian's packages that it needs; those of shared libraries that its programs link are found
#  EXTRA          further control files
#  PORTABLE       the package serves every processor
#  LINKS_NOTHING  it has no programs; its files are not searched for any, as that takes a while for each
macro(zelboard_package component package section title text)
  cmake_parse_arguments(part "PORTABLE;LINKS_NOTHING" "" "NEEDS;DEPENDS;RECOMMENDS;EXTRA" ${ARGN})
  string(TOUPPER ${component} name)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_COMPONENT_${name}_DEPENDS ${part_NEEDS})
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION ${section})
  string(JOIN ", " CPACK_DEBIAN_${name}_PACKAGE_DEPENDS ${part_DEPENDS})
  string(JOIN ", " CPACK_DEBIAN_${name}_PACKAGE_RECOMMENDS ${part_RECOMMENDS})
  set(CPACK_DEBIAN_${name}_PACKAGE_CONTROL_EXTRA "${part_EXTRA}")
  set(CPACK_DEBIAN_${name}_DESCRIPTION "board support of an industrial Ethernet switch - ${title}\n${ZELBOARD_ABOUT}${text}")
  if(part_PORTABLE)
    set(CPACK_DEBIAN_${name}_PACKAGE_ARCHITECTURE all)
  endif()
  if(part_PORTABLE OR part_LINKS_NOTHING)
    set(CPACK_DEBIAN_${name}_PACKAGE_SHLIBDEPS OFF)
  endif()
  install(FILES ${PROJECT_BINARY_DIR}/debian/CHANGELOG.md.gz ${PROJECT_BINARY_DIR}/debian/changelog.gz
    ${PROJECT_BINARY_DIR}/debian/copyright COMPONENT ${component} EXCLUDE_FROM_ALL
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package})
endmacro()

configure_file(cmake/debian/shlibs.in debian/shlibs @ONLY)
zelboard_package(library libzelboard${PROJECT_VERSION_MAJOR} libs library
  "This package contains the shared library."
  EXTRA ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
zelboard_package(development libzelboard-dev libdevel development
  "This package contains the headers, the static library, and what pkg-config and
CMake need to find them; a manual page for each function, the guides and the
examples."
  LINKS_NOTHING NEEDS library)
if(TARGET zelctl AND TARGET zelsim)
  set(scripts ${PROJECT_SOURCE_DIR}/cmake/debian/tools)
  zelboard_package(tools zelboard-tools admin tools
    "This package contains zelctl, the operator's tool, and zelsim, a virtual switch
on which every dynamically linked program runs without hardware; and a service
that hands the board's events to the journal, off until it is enabled."
    NEEDS library EXTRA ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)
endif()
if(TARGET zelboard-web)
  zelboard_package(web zelboard-web admin "front panel in a browser"
    "This package contains the web server behind zelsim serve: a virtual switch as a
page that shows what happens on it and where it can be touched."
    NEEDS tools)
endif()
if(TARGET zelboard_python)
  set(scripts ${PROJECT_SOURCE_DIR}/cmake/debian/python)
  zelboard_package(python python3-zelboard python "Python 3"
    "This package contains the Python package zelboard: the library's functions and
tables, and a test kit with boards of the virtual switch and a pytest plugin."
    PORTABLE NEEDS library DEPENDS "python3 (>= 3.9)" RECOMMENDS python3-pytest zelboard-tools
    EXTRA ${scripts}/postinst ${scripts}/prerm)
endif()
# The guides. What they link to stands beside them: the examples, and a link to the headers.
file(CREATE_LINK ../../../include ${PROJECT_BINARY_DIR}/debian/include SYMBOLIC)
install(DIRECTORY examples docs COMPONENT development EXCLUDE_FROM_ALL
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME}
  PATTERN man EXCLUDE PATTERN Doxyfile EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/debian/include COMPONENT development EXCLUDE_FROM_ALL
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME})
include(CPack)
