# An installed Kelda SDK: Kelda::Kelda. Hints: CMAKE_PREFIX_PATH.
include(FindPackageHandleStandardArgs)
include(ZyFindLibrary)
zy_find_library(Kelda TARGET Kelda::Kelda HEADER kelda/KLibrary.h NAMES Kelda OpenKelda)
find_package_handle_standard_args(Kelda REQUIRED_VARS Kelda_Kelda_LIBRARY Kelda_INCLUDE_DIR)
