# Run by cpack when the components lie in their folders and are not packed yet.

# dpkg's list of the symbols that a library offers, each with the version that brought it.  A
# library that offers other symbols than its list fails here.
foreach(library IN LISTS CPACK_VEXO_SONAMES)
  string(REPLACE .so. "" package ${library})
  file(MAKE_DIRECTORY ${CPACK_VEXO_SYMBOLS}/${package})
  execute_process(
    COMMAND dpkg-gensymbols -c4 -p${package} -v${CPACK_PACKAGE_VERSION}
            -I${CPACK_VEXO_DEBIAN}/${package}.symbols
            -e${CPACK_VEXO_LIBRARIES}/${library} -O${CPACK_VEXO_SYMBOLS}/${package}/symbols
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# Debian's manual pages are compressed (Debian Policy 12.1).
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/*.[15])
if(NOT pages)
  message(FATAL_ERROR "There is no manual page to compress")
endif()
execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
