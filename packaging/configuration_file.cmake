# Installs the file `source` into the folder `destination`, unless a file of that name is there
# already: it may have been edited.
cmake_path(GET source FILENAME name)
set(installed "$ENV{DESTDIR}${destination}/${name}")
if(NOT EXISTS "${installed}" AND NOT IS_SYMLINK "${installed}")
  file(INSTALL ${source} DESTINATION ${destination})
else()
  execute_process(COMMAND cmp -s ${source} "${installed}" RESULT_VARIABLE differs)
  if(differs)
    message(STATUS "Keeping: ${installed} (the new file is ${source})")
  else()
    message(STATUS "Up-to-date: ${installed}")
  endif()
endif()
