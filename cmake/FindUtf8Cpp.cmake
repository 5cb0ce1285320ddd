# Utf8Cpp::Utf8Cpp: the header-only UTF-8 library.
find_path(Utf8Cpp_INCLUDE_DIR utf8.h PATH_SUFFIXES utf8cpp)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Utf8Cpp REQUIRED_VARS Utf8Cpp_INCLUDE_DIR)
if(Utf8Cpp_FOUND AND NOT TARGET Utf8Cpp::Utf8Cpp)
  add_library(Utf8Cpp::Utf8Cpp INTERFACE IMPORTED)
  set_target_properties(Utf8Cpp::Utf8Cpp PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${Utf8Cpp_INCLUDE_DIR}")
endif()
