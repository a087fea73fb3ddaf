# An installation first records the folders that it will make, so that uninstalling removes these and no others.
set(ZELBOARD_PYTHON_INSTALL_DIR lib/python3/dist-packages CACHE STRING "Where Python finds packages, below the prefix")
set(ZELBOARD_FOLDERS ${CMAKE_INSTALL_BINDIR} ${ZELBOARD_PROGRAMS_DIR}/recorder ${ZELBOARD_PROGRAMS_DIR} ${CMAKE_INSTALL_INCLUDEDIR}/zelboard
  ${CMAKE_INSTALL_LIBDIR}/cmake/zelboard ${CMAKE_INSTALL_LIBDIR}/pkgconfig lib/systemd/system
  ${CMAKE_INSTALL_MANDIR}/man1 ${CMAKE_INSTALL_MANDIR}/man3
  ${CMAKE_INSTALL_DATADIR}/bash-completion/completions ${ZELBOARD_PYTHON_INSTALL_DIR}/zelboard/fw
  ${ZELBOARD_PYTHON_INSTALL_DIR}/zelboard-${PROJECT_VERSION}.dist-info)
install(CODE "
  foreach(folder ${ZELBOARD_FOLDERS})
    set(folder \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/\${folder})
    while(NOT EXISTS \${folder})
      file(APPEND ${PROJECT_BINARY_DIR}/install_folders.txt \${folder}\\n)
      get_filename_component(folder \${folder} DIRECTORY)
    endwhile()
  endforeach()")
