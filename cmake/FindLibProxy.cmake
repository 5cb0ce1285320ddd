# LibProxy::LibProxy: the desktop's automatic proxy discovery.
find_path(LibProxy_INCLUDE_DIR proxy.h PATH_SUFFIXES libproxy)
find_library(LibProxy_LIBRARY proxy)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibProxy REQUIRED_VARS LibProxy_LIBRARY LibProxy_INCLUDE_DIR)
if(LibProxy_FOUND AND NOT TARGET LibProxy::LibProxy)
  add_library(LibProxy::LibProxy UNKNOWN IMPORTED)
  set_target_properties(LibProxy::LibProxy PROPERTIES
    IMPORTED_LOCATION "${LibProxy_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${LibProxy_INCLUDE_DIR}")
endif()
