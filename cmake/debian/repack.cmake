# Takes the scripts out of the packages that cpack gives to every package with a shared object in it: they call
# ldconfig, which the library's trigger does.
foreach(package ${CPACK_PACKAGE_FILES})
  set(folder ${package}.unpacked)
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${folder} ${package} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
