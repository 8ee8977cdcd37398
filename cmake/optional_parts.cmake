# The filter needs libcups and Little CMS only. The other programs, tests, benchmarks and fuzz targets are on
# where their libraries are found, and can be switched off.
pkg_check_modules(VIPS QUIET IMPORTED_TARGET vips)
find_package(GTest QUIET)
# Tests make photo files with the formats' own libraries.
find_package(PNG QUIET)
find_package(JPEG QUIET)
find_package(TIFF QUIET)
find_package(benchmark QUIET)

set(apps_possible OFF)
if(VIPS_FOUND AND CLI11_FOUND)
  set(apps_possible ON)
endif()
option(K905_BUILD_APPS "Build the programs around the filter" ${apps_possible})
if(K905_BUILD_APPS)
  add_subdirectory(apps)
  add_subdirectory(devtools)
endif()

set(tests_possible OFF)
if(GTest_FOUND AND PNG_FOUND AND JPEG_FOUND AND TIFF_FOUND AND apps_possible)
  set(tests_possible ON)
endif()
option(K905_BUILD_TESTS "Build the tests (they use the programs)" ${tests_possible})
if(K905_BUILD_TESTS AND K905_BUILD_APPS)
  enable_testing()
  add_subdirectory(tests)
endif()

option(K905_BUILD_BENCH "Build the benchmarks" ${benchmark_FOUND})
if(K905_BUILD_BENCH)
  add_subdirectory(bench)
endif()

option(K905_BUILD_FUZZ "Build the fuzz targets with libFuzzer (clang only)" OFF)
if(K905_BUILD_FUZZ OR (K905_BUILD_TESTS AND K905_BUILD_APPS))
  add_subdirectory(fuzz)
endif()
