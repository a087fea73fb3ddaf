# What `cmake --install` lays out, in the components that become packages: library, development, tools, web and python.
include(CMakePackageConfigHelpers)
# zelsim finds what belongs to it in ../lib/zelboard, as seen from its own folder.
cmake_path(SET ZELBOARD_PROGRAMS_DIR NORMALIZE ${CMAKE_INSTALL_BINDIR}/../lib/zelboard)
include(cmake/folders.cmake)
set(ZELBOARD_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelboard)
set(ZELBOARD_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS zelboard zelboard_static EXPORT zelboard
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/zelboard DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# The targets need no other package: the exported file can be the whole package configuration.
install(EXPORT zelboard NAMESPACE zelboard:: FILE zelboard-config.cmake DESTINATION ${ZELBOARD_CMAKE_DIR}
  COMPONENT development)
write_basic_package_version_file(zelboard-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zelboard-config-version.cmake DESTINATION ${ZELBOARD_CMAKE_DIR} COMPONENT development)

# The prefix in zelboard.pc is relative to the file itself, so that an installed tree may be moved.
file(RELATIVE_PATH ZELBOARD_PREFIX_FROM_PC /${ZELBOARD_PC_DIR} /)
configure_file(cmake/zelboard.pc.in zelboard.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zelboard.pc DESTINATION ${ZELBOARD_PC_DIR} COMPONENT development)

# Compresses a file as Debian does: best, and without name or time.
function(zelboard_gzip source result)
  add_custom_command(OUTPUT ${result} DEPENDS ${source} COMMAND gzip -9nc ${source} > ${result} VERBATIM)
  list(APPEND ZELBOARD_COMPRESSED ${result})
  set(ZELBOARD_COMPRESSED ${ZELBOARD_COMPRESSED} PARENT_SCOPE)
endfunction()

function(zelboard_man_page page component)
  string(REGEX REPLACE ".*\\." "" section ${page})
  configure_file(docs/man/${page} man/${page} @ONLY)
  zelboard_gzip(${PROJECT_BINARY_DIR}/man/${page} ${PROJECT_BINARY_DIR}/man/${page}.gz)
  install(FILES ${PROJECT_BINARY_DIR}/man/${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
    COMPONENT ${component})
  set(ZELBOARD_COMPRESSED ${ZELBOARD_COMPRESSED} PARENT_SCOPE)
endfunction()

zelboard_man_page(zelboard.3 development)
# A page for each function, made from its comment in the headers.
file(GLOB ZELBOARD_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/zelboard/*.h)
set(ZELBOARD_FUNCTION_PAGES ${PROJECT_BINARY_DIR}/man/functions)
string(TIMESTAMP ZELBOARD_MAN_DATE "%B %d, %Y" UTC)
add_custom_command(OUTPUT ${ZELBOARD_FUNCTION_PAGES}.made DEPENDS ${ZELBOARD_HEADERS} cmake/manual.awk
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${ZELBOARD_FUNCTION_PAGES}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${ZELBOARD_FUNCTION_PAGES}
  COMMAND awk -v folder=${ZELBOARD_FUNCTION_PAGES} -v version=${PROJECT_VERSION} -v date=${ZELBOARD_MAN_DATE}
    -f ${PROJECT_SOURCE_DIR}/cmake/manual.awk ${ZELBOARD_HEADERS}
  COMMAND gzip -9nr ${ZELBOARD_FUNCTION_PAGES}
  COMMAND ${CMAKE_COMMAND} -E touch ${ZELBOARD_FUNCTION_PAGES}.made VERBATIM)
list(APPEND ZELBOARD_COMPRESSED ${ZELBOARD_FUNCTION_PAGES}.made)
install(DIRECTORY ${ZELBOARD_FUNCTION_PAGES}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)
if(TARGET zelctl AND TARGET zelsim)
  install(TARGETS zelctl zelsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(TARGETS zelsim_preload zelsim_recorder debugCmd
    LIBRARY DESTINATION ${ZELBOARD_PROGRAMS_DIR} COMPONENT tools
    RUNTIME DESTINATION ${ZELBOARD_PROGRAMS_DIR} COMPONENT tools)
  install(TARGETS zelsim_recorder_tool RUNTIME DESTINATION ${ZELBOARD_PROGRAMS_DIR}/recorder COMPONENT tools)
  file(RELATIVE_PATH from_programs /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(zelctl PROPERTIES INSTALL_RPATH "$ORIGIN/${from_programs}")
  foreach(tool zelctl zelsim)
    zelboard_man_page(${tool}.1 tools)
    install(FILES completion/zelboard.bash RENAME ${tool} COMPONENT tools
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
  # The unit names the installed program. Its folder is only known during the installation.
  install(CODE "
    get_filename_component(bin \${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR} ABSOLUTE)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/zelboard-monitor.service.in
      ${PROJECT_BINARY_DIR}/zelboard-monitor.service @ONLY)" COMPONENT tools)
  install(FILES ${PROJECT_BINARY_DIR}/zelboard-monitor.service DESTINATION lib/systemd/system COMPONENT tools)
endif()

if(TARGET zelboard-web)
  install(TARGETS zelboard-web RUNTIME DESTINATION ${ZELBOARD_PROGRAMS_DIR} COMPONENT web)
endif()
if(TARGET zelboard_python)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/python/zelboard ${PROJECT_BINARY_DIR}/python/zelboard-${PROJECT_VERSION}.dist-info
    DESTINATION ${ZELBOARD_PYTHON_INSTALL_DIR} COMPONENT python PATTERN __pycache__ EXCLUDE PATTERN .* EXCLUDE)
endif()

if(ZELBOARD_ALONE)
  include(cmake/package.cmake)
  # The manifest lists everything that the whole build installs. So only a build of zelboard alone can uninstall it.
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -D MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt
      -D FOLDERS=${PROJECT_BINARY_DIR}/install_folders.txt -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake)
endif()
add_custom_target(zelboard_compressed ALL DEPENDS ${ZELBOARD_COMPRESSED})
