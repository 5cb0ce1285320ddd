# UriParser::UriParser: the 8-bit and wide URI parser. Debian ships a package config only in some releases.
find_path(UriParser_INCLUDE_DIR uriparser/Uri.h)
find_library(UriParser_LIBRARY uriparser)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(UriParser REQUIRED_VARS UriParser_LIBRARY UriParser_INCLUDE_DIR)
if(UriParser_FOUND AND NOT TARGET UriParser::UriParser)
  add_library(UriParser::UriParser UNKNOWN IMPORTED)
  set_target_properties(UriParser::UriParser PROPERTIES
    IMPORTED_LOCATION "${UriParser_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${UriParser_INCLUDE_DIR}")
endif()
