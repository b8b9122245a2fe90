# The target jsoncpp_lib: from jsoncpp's own CMake package or, where whoever built jsoncpp left that out, from pkg-config.
find_package(jsoncpp QUIET CONFIG)
if(NOT TARGET jsoncpp_lib)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(JSONCPP REQUIRED QUIET IMPORTED_TARGET jsoncpp)
  add_library(jsoncpp_lib INTERFACE IMPORTED)
  set_target_properties(jsoncpp_lib PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${JSONCPP_INCLUDE_DIRS}"
    INTERFACE_LINK_LIBRARIES PkgConfig::JSONCPP)
endif()
