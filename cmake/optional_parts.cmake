# The filter needs libcups and Little CMS only. Companions, tests, benchmarks and fuzz targets are on
# where their libraries are found, and can be switched off.
find_package(PNG QUIET)
find_package(JPEG QUIET)
find_package(CLI11 QUIET)
find_package(GTest QUIET)
find_package(benchmark QUIET)

set(companions_possible OFF)
if(PNG_FOUND AND JPEG_FOUND AND CLI11_FOUND)
  set(companions_possible ON)
endif()
option(K905_BUILD_COMPANIONS "Build the companion programs" ${companions_possible})
if(K905_BUILD_COMPANIONS)
  add_subdirectory(companions)
endif()

set(tests_possible OFF)
if(GTest_FOUND AND companions_possible)
  set(tests_possible ON)
endif()
option(K905_BUILD_TESTS "Build the tests (they use the companions)" ${tests_possible})
if(K905_BUILD_TESTS AND K905_BUILD_COMPANIONS)
  enable_testing()
  add_subdirectory(tests)
endif()

option(K905_BUILD_BENCH "Build the benchmarks" ${benchmark_FOUND})
if(K905_BUILD_BENCH)
  add_subdirectory(bench)
endif()

option(K905_BUILD_FUZZ "Build the fuzz targets with libFuzzer (clang only)" OFF)
