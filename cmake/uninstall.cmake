# Removes what the manifest of the last `cmake --install` lists, and the folders that installing made, if they are empty.
if(NOT EXISTS ${MANIFEST})
  message(FATAL_ERROR "Nothing was installed from here: ${MANIFEST} is missing")
endif()
file(STRINGS ${MANIFEST} files)
foreach(file ${files})
  file(REMOVE $ENV{DESTDIR}${file})
endforeach()

if(EXISTS ${FOLDERS})
  file(STRINGS ${FOLDERS} folders)
  list(SORT folders ORDER DESCENDING)  # a folder after those in it
  foreach(folder ${folders})
    execute_process(COMMAND rmdir ${folder} ERROR_QUIET)
  endforeach()
  file(REMOVE ${FOLDERS})
endif()
