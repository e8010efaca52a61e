# An installed OpenSG: OpenSG::OpenSG. Hints: CMAKE_PREFIX_PATH.
include(FindPackageHandleStandardArgs)
include(ZyFindLibrary)
zy_find_library(OpenSG TARGET OpenSG::OpenSG HEADER OpenSG/OSGConfig.h NAMES OpenSG OSGSystem)
find_package_handle_standard_args(OpenSG REQUIRED_VARS OpenSG_OpenSG_LIBRARY OpenSG_INCLUDE_DIR)
