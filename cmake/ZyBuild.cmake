# One place for how libraries, tests, benchmarks and fuzz targets are built.
include_guard(GLOBAL)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# -- flags of everything built here ---------------------------------------------------------------

add_library(zyFlags INTERFACE)
target_compile_options(zyFlags INTERFACE -Wall -Wextra -Wpedantic)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Calls inside one library are direct: nobody interposes its functions.
  target_compile_options(zyFlags INTERFACE -fno-semantic-interposition)
endif()
if(ZY_WARNINGS_AS_ERRORS)
  target_compile_options(zyFlags INTERFACE -Werror)
endif()
if(ZY_SANITIZE)
  target_compile_options(zyFlags INTERFACE -fsanitize=${ZY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zyFlags INTERFACE -fsanitize=${ZY_SANITIZE})
endif()
if(ZY_COVERAGE)
  target_compile_options(zyFlags INTERFACE --coverage -fprofile-abs-path)
  target_link_options(zyFlags INTERFACE --coverage)
endif()
if(ZY_FUZZ)
  target_compile_options(zyFlags INTERFACE -fsanitize=fuzzer-no-link)
  # Checksums would keep mutated input out of the readers.
  target_compile_definitions(zyFlags INTERFACE FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION)
endif()

# zy_add_library(<target> BUILDING <macro> SOURCES <file>... [INCLUDE <dir>] [PUBLIC <lib>...] [PRIVATE <lib>...])
#
# A shared library with hidden visibility. <macro> is defined while the library itself is compiled; its export header
# tests it. Headers below <dir> (default: include) are public.
function(zy_add_library target)
  cmake_parse_arguments(arg "" "BUILDING;INCLUDE" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  if(NOT arg_INCLUDE)
    set(arg_INCLUDE include)
  endif()
  add_library(${target} SHARED ${arg_SOURCES})
  target_include_directories(${target} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}/${arg_INCLUDE}")
  target_compile_definitions(${target} PRIVATE ${arg_BUILDING})
  target_link_libraries(${target} PUBLIC ${arg_PUBLIC} PRIVATE zyFlags ${arg_PRIVATE})
  target_link_options(${target} PRIVATE -Wl,--no-undefined-version)
endfunction()

# zy_add_test(<name> SOURCES <file>... [LIBS <lib>...] [ARGS <arg>...] [TIMEOUT <s>] [OWN_MAIN] [OWN_PROCESSES])
#
# A GoogleTest program, registered with ctest under its name. It gets GoogleMock's main() unless OWN_MAIN says that it
# brings one. OWN_PROCESSES: each of its tests runs in a process of its own, for state that a process has once. The leak
# checker knows what is kept on purpose from tests/lsan.supp, in the test and in the programs that it starts.
function(zy_add_test name)
  cmake_parse_arguments(arg "OWN_MAIN;OWN_PROCESSES" "TIMEOUT" "SOURCES;LIBS;ARGS" ${ARGN})
  if(NOT ZY_BUILD_TESTS)
    return()
  endif()
  find_package(GTest REQUIRED)
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zyFlags ${arg_LIBS} GTest::gmock)
  if(NOT arg_OWN_MAIN)
    target_link_libraries(${name} PRIVATE GTest::gmock_main)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set(environment "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")
  if(arg_OWN_PROCESSES)
    include(GoogleTest)
    gtest_discover_tests(${name} TEST_PREFIX "${name}." EXTRA_ARGS ${arg_ARGS}
      PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT "${environment}")
  else()
    add_test(NAME ${name} COMMAND ${name} ${arg_ARGS})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT "${environment}")
  endif()
endfunction()

# zy_add_bench(<name> SOURCES <file>... [LIBS <lib>...])
#
# A Google Benchmark program. Never run by ctest.
function(zy_add_bench name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  find_package(benchmark REQUIRED)
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zyFlags ${arg_LIBS} benchmark::benchmark)
endfunction()

# zy_add_fuzzer(<name> SOURCES <file>... CORPUS <dir> [LIBS <lib>...])
#
# With ZY_FUZZ a libFuzzer program; otherwise a test that feeds the corpus to the same entry point once.
function(zy_add_fuzzer name)
  cmake_parse_arguments(arg "" "CORPUS" "SOURCES;LIBS" ${ARGN})
  if(ZY_FUZZ)
    add_executable(${name} ${arg_SOURCES})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set_property(GLOBAL APPEND PROPERTY ZY_FUZZERS ${name})
  elseif(ZY_BUILD_TESTS)
    add_executable(${name} ${arg_SOURCES} "${PROJECT_SOURCE_DIR}/tests/fuzz/replay.cpp")
    add_test(NAME ${name}_corpus COMMAND ${name} "${CMAKE_CURRENT_SOURCE_DIR}/${arg_CORPUS}")
    set_tests_properties(${name}_corpus PROPERTIES TIMEOUT 300)
  else()
    return()
  endif()
  target_link_libraries(${name} PRIVATE zyFlags ${arg_LIBS})
endfunction()
