# Third-party libraries, all from Debian's packages (scripts/install-deps).
# "1.81.0" with EXACT and CONFIG: a bare "1.81" falls back to the old FindBoost module.
find_package(Boost 1.81.0 EXACT CONFIG REQUIRED COMPONENTS log log_setup thread json system)
find_package(OpenSSL 3 REQUIRED)
find_package(Threads REQUIRED)

# A real CppMicroServices 3.8 is used when one is installed (CMAKE_PREFIX_PATH);
# otherwise host/cppmicroservices builds the subset with the same headers and target name.
find_package(CppMicroServices 3.8 CONFIG QUIET)
if(CppMicroServices_FOUND AND TARGET CppMicroServices)
  set(KORVAN_REAL_CPPMICROSERVICES ON)
  message(STATUS "Using installed CppMicroServices ${CppMicroServices_VERSION}")
else()
  set(KORVAN_REAL_CPPMICROSERVICES OFF)
endif()

# The benchmarks share the tests' support library (tests/support), which uses GoogleTest.
if(KORVAN_BUILD_TESTS OR KORVAN_BUILD_BENCHMARKS)
  find_package(GTest REQUIRED)
endif()
if(KORVAN_BUILD_BENCHMARKS)
  find_package(benchmark REQUIRED)
endif()
