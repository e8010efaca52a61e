# The installed host libraries: Zyra::zyUtils, Zyra::zyInterfaces, Zyra::zyOpenSGExt, Zyra::zyOpenSGUtils,
# Zyra::zyOpenSGUberMaterial.
# Hints: CMAKE_PREFIX_PATH.
include(FindPackageHandleStandardArgs)
include(ZyFindLibrary)
foreach(name zyUtils zyInterfaces zyOpenSGExt zyOpenSGUtils zyOpenSGUberMaterial)
  zy_find_library(Zyra TARGET Zyra::${name} HEADER zyUtils/zyFile.h NAMES ${name})
endforeach()
find_package_handle_standard_args(Zyra REQUIRED_VARS
  Zyra_zyUtils_LIBRARY Zyra_zyInterfaces_LIBRARY Zyra_zyOpenSGExt_LIBRARY Zyra_zyOpenSGUtils_LIBRARY
  Zyra_zyOpenSGUberMaterial_LIBRARY Zyra_INCLUDE_DIR)
