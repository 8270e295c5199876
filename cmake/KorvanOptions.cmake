# Build switches. Sanitizers apply to every target of the tree; fuzzers need clang.
option(KORVAN_BUILD_TESTS "Build the test suite" ON)
option(KORVAN_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(KORVAN_BUILD_FUZZERS "Build the libFuzzer targets (clang only)" OFF)
option(KORVAN_WARNINGS_AS_ERRORS "Treat compiler warnings on the project's own code as errors (every preset turns it on)" OFF)
set(KORVAN_SANITIZE "" CACHE STRING "Sanitizer set: empty, 'address' (address+undefined) or 'thread'")
set_property(CACHE KORVAN_SANITIZE PROPERTY STRINGS "" address thread)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

if(KORVAN_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(KORVAN_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT KORVAN_SANITIZE STREQUAL "")
  message(FATAL_ERROR "KORVAN_SANITIZE must be empty, 'address' or 'thread'")
endif()

if(KORVAN_BUILD_FUZZERS AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "KORVAN_BUILD_FUZZERS needs clang (CXX=clang++)")
endif()
# The fuzzers steer by the coverage of the code under test, so the whole tree carries the
# coverage instrumentation; only the fuzz targets link libFuzzer's driver (fuzz/).
if(KORVAN_BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()
# Line coverage for scripts/coverage: gcov counters in every target, counted by gcovr.
option(KORVAN_COVERAGE "Instrument the tree for line coverage (gcc --coverage)" OFF)
if(KORVAN_COVERAGE)
  # Atomic counters: the tests run many threads, and racing counters come out negative.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
