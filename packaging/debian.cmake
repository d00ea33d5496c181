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
set(CPACK_COMPONENTS_ALL vexosharing vexoplatform development tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Libraries of other packages are found by dpkg-shlibdeps.  It says nothing of those that are
# built here, which belong to no package yet: they are named.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(library "libvexosharing7 (>= ${PROJECT_VERSION})")
set(platform "libvexoplatform1 (>= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_VEXOSHARING_PACKAGE_NAME libvexosharing7)
set(CPACK_DEBIAN_VEXOSHARING_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_VEXOSHARING_PACKAGE_DEPENDS ${platform})
set(CPACK_DEBIAN_VEXOSHARING_PACKAGE_RECOMMENDS vexosharing-tools)
set(CPACK_COMPONENT_VEXOSHARING_DESCRIPTION
    "This is the library that finds a link, decides whether it may be used\n\
now, logs a visitor in and checks his later requests, with the schema of its\n\
database.")

set(CPACK_DEBIAN_VEXOPLATFORM_PACKAGE_NAME libvexoplatform1)
set(CPACK_DEBIAN_VEXOPLATFORM_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_VEXOPLATFORM_PACKAGE_DEPENDS libpam-runtime)
set(CPACK_COMPONENT_VEXOPLATFORM_DESCRIPTION
    "This is the platform interface for plain Linux: database access, accounts,\n\
the blocking of addresses and CGI requests, as the sharing library calls them.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvexosharing-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libvexosharing7 (= ${version}), libvexoplatform1 (= ${version})"
    libjsoncpp-dev pkg-config)
list(JOIN CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", "
     CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "These are the headers, and what pkg-config and CMake need to find the\n\
libraries.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vexosharing-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library}, ${platform}")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "These are the administrator's command vexosharing, the two tools that the\n\
sharing library runs, and a timer that purges what is past.")

# What dpkg is told and runs; the lists of symbols are made just before the packing.
set(debian ${CMAKE_CURRENT_LIST_DIR}/debian)
set(symbols ${CMAKE_CURRENT_BINARY_DIR}/symbols)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian_prepare.cmake)
set(CPACK_VEXO_DEBIAN ${debian})
set(CPACK_VEXO_SYMBOLS ${symbols})
set(CPACK_VEXO_LIBRARIES ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_VEXOSHARING_PACKAGE_CONTROL_EXTRA
    ${debian}/libvexosharing7/postinst ${debian}/libvexosharing7/postrm
    ${debian}/libvexosharing7/triggers ${symbols}/libvexosharing7/symbols)
set(CPACK_DEBIAN_VEXOPLATFORM_PACKAGE_CONTROL_EXTRA
    ${debian}/libvexoplatform1/conffiles ${debian}/libvexoplatform1/postinst
    ${debian}/libvexoplatform1/postrm ${debian}/libvexoplatform1/triggers
    ${symbols}/libvexoplatform1/symbols)
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA
    ${debian}/vexosharing-tools/postinst ${debian}/vexosharing-tools/prerm
    ${debian}/vexosharing-tools/postrm)

include(CPack)
