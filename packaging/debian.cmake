# The Debian packages, made by `cpack`: each is a component of the install rules.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The libvexosharing developers <developers@libvexosharing.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 2)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# dpkg-shlibdeps finds the libraries of other packages that are linked.  Listed below are the
# libraries that are loaded when they are needed, and those that are built here, which belong
# to no package yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(debian ${CMAKE_CURRENT_LIST_DIR}/debian)
set(symbols ${CMAKE_CURRENT_BINARY_DIR}/symbols)

# vexo_package(COMPONENT NAME SECTION section DEPENDS dependency... DESCRIPTION text
#              [CONTROL file...]): makes a component a package.  CONTROL names maintainer
# scripts and what else dpkg reads.
macro(vexo_package component name)
  cmake_parse_arguments(ARG "" "SECTION;DESCRIPTION" "DEPENDS;CONTROL" ${ARGN})
  string(TOUPPER ${component} id)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${id}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${id}_PACKAGE_SECTION ${ARG_SECTION})
  list(JOIN ARG_DEPENDS ", " CPACK_DEBIAN_${id}_PACKAGE_DEPENDS)
  set(CPACK_DEBIAN_${id}_PACKAGE_CONTROL_EXTRA ${ARG_CONTROL})
  set(CPACK_COMPONENT_${id}_DESCRIPTION ${ARG_DESCRIPTION})
  install(FILES ${debian}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
          COMPONENT ${component})
endmacro()

# vexo_library_package(COMPONENT SONAME DEPENDS dependency... DESCRIPTION text): the package of
# a shared library, named after it.  Its symbols are listed in debian/NAME.symbols; the list
# that is packed is made just before the packing.
macro(vexo_library_package component soname)
  string(REPLACE .so. "" package ${soname})
  vexo_package(${component} ${package} SECTION libs ${ARGN}
               CONTROL ${debian}/library/triggers ${symbols}/${package}/symbols)
  list(APPEND CPACK_VEXO_SONAMES ${soname})
  list(APPEND development_depends "${package} (= ${version})")
endmacro()

vexo_package(common vexosharing-common
  SECTION admin
  DEPENDS libpam-runtime
  CONTROL ${debian}/vexosharing-common/conffiles ${debian}/vexosharing-common/config
          ${debian}/vexosharing-common/postinst ${debian}/vexosharing-common/postrm
          ${debian}/vexosharing-common/templates
  DESCRIPTION
    "This package contains the schema of the database, the folders of the data and\n\
the PAM configuration.  Removing or purging it keeps the sharing links, unless\n\
the administrator has chosen otherwise with debconf.")
set(CPACK_DEBIAN_COMMON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_COMMON_PACKAGE_RECOMMENDS debconf)
# Before release 2 the libraries had these files.
set(CPACK_DEBIAN_COMMON_PACKAGE_REPLACES
    "libvexosharing7 (<< 7.0.0-2), libvexoplatform1 (<< 7.0.0-2)")
set(CPACK_DEBIAN_COMMON_PACKAGE_BREAKS ${CPACK_DEBIAN_COMMON_PACKAGE_REPLACES})

vexo_library_package(vexoplatform libvexoplatform.so.1
  DEPENDS "vexosharing-common (>= ${version})" libpam0g
  DESCRIPTION
    "This is the platform interface for plain Linux: database access, accounts,\n\
the blocking of addresses and CGI requests, as the sharing library calls them.")

vexo_library_package(vexosharing libvexosharing.so.7
  DEPENDS "vexosharing-common (>= ${version})" "libvexoplatform1 (>= ${version})"
          libgcrypt20 libssl3
  DESCRIPTION
    "This is the library that finds a link, decides whether it may be used\n\
now, logs a visitor in and checks their later requests.")
set(CPACK_DEBIAN_VEXOSHARING_PACKAGE_RECOMMENDS vexosharing-tools)

vexo_library_package(vexosharingc libvexosharingc.so.1
  DEPENDS "libvexosharing7 (>= ${version})"
  DESCRIPTION
    "This is a small library for C programs that read a sharing link: its title,\n\
project, protection, data and state.")

vexo_library_package(vexosharingvisit libvexosharing-visit.so.1
  DEPENDS "vexosharing-common (>= ${version})" "libvexosharing7 (>= ${version})"
          "libvexoplatform1 (>= ${version})" libssl3
  DESCRIPTION
    "This is a library for web handlers of sharing links.  It decides how to answer\n\
a request: with the content, a login page, a refusal or a failure.")

vexo_package(development libvexosharing-dev
  SECTION libdevel
  DEPENDS ${development_depends} libjsoncpp-dev pkg-config
  DESCRIPTION
    "This package contains the headers, and the files with which pkg-config and\n\
CMake find the libraries.")

vexo_package(tools vexosharing-tools
  SECTION admin
  DEPENDS "libvexosharing7 (>= ${version})" "libvexoplatform1 (>= ${version})"
  CONTROL ${debian}/vexosharing-tools/postinst ${debian}/vexosharing-tools/prerm
          ${debian}/vexosharing-tools/postrm
  DESCRIPTION
    "This package contains the administrator's command vexosharing, the two tools that the\n\
sharing library runs, and a timer that deletes expired links.")

vexo_package(web vexosharing-web
  SECTION web
  DEPENDS "libvexosharing-visit1 (>= ${version})" "libvexosharing7 (>= ${version})"
          "libvexoplatform1 (>= ${version})" "vexosharing-tools (>= ${version})" libarchive13
          libssl3
  CONTROL ${debian}/vexosharing-web/conffiles ${debian}/vexosharing-web/postinst
          ${debian}/vexosharing-web/prerm ${debian}/vexosharing-web/postrm
  DESCRIPTION
    "This package contains the web front end of links that share files and folders, the\n\
units that run it, and configurations for lighttpd, nginx and Apache.")
set(CPACK_DEBIAN_WEB_PACKAGE_RECOMMENDS "lighttpd | nginx | apache2, logrotate")
set(CPACK_DEBIAN_WEB_PACKAGE_SUGGESTS fcgiwrap)

# The command is in the administrator's PATH.
file(CREATE_LINK ../vexo/bin/vexosharing ${CMAKE_CURRENT_BINARY_DIR}/vexosharing SYMBOLIC)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vexosharing DESTINATION ${CMAKE_INSTALL_SBINDIR}
        COMPONENT tools)

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian_prepare.cmake)
set(CPACK_VEXO_DEBIAN ${debian})
set(CPACK_VEXO_SYMBOLS ${symbols})
set(CPACK_VEXO_LIBRARIES ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

include(CPack)
