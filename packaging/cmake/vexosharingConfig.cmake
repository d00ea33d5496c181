# find_package(vexosharing) gives the targets vexosharing::vexosharing, for callers of the
# library and of the platform interface, vexosharing::vexosharingc, for C programs that read
# links, vexosharing::vexosharing-visit, for web handlers of links, and
# vexosharing::vexoplatform, for callers of the platform interface alone.
include(CMakeFindDependencyMacro)
find_dependency(PkgConfig)
pkg_check_modules(JSONCPP QUIET IMPORTED_TARGET jsoncpp)
if(NOT JSONCPP_FOUND)
  set(vexosharing_FOUND FALSE)
  set(vexosharing_NOT_FOUND_MESSAGE "jsoncpp, whose values the headers use, is missing")
  return()
endif()
include(${CMAKE_CURRENT_LIST_DIR}/vexosharingTargets.cmake)
