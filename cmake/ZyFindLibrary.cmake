# zy_find_library(<package> TARGET <ns::name> HEADER <file> NAMES <lib>...)
#
# Looks for one header and one library of an installed platform package and makes the imported target that the embedded
# platform would have made. Sets <package>_<lib>_LIBRARY and <package>_INCLUDE_DIR for the caller's result check.
include_guard(GLOBAL)

function(zy_find_library package)
  cmake_parse_arguments(arg "" "TARGET;HEADER" "NAMES" ${ARGN})
  list(GET arg_NAMES 0 first)
  find_path(${package}_INCLUDE_DIR ${arg_HEADER})
  find_library(${package}_${first}_LIBRARY NAMES ${arg_NAMES})
  if(${package}_INCLUDE_DIR AND ${package}_${first}_LIBRARY AND NOT TARGET ${arg_TARGET})
    add_library(${arg_TARGET} UNKNOWN IMPORTED)
    set_target_properties(${arg_TARGET} PROPERTIES
      IMPORTED_LOCATION "${${package}_${first}_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${${package}_INCLUDE_DIR}")
  endif()
endfunction()
