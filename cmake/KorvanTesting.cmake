include(GoogleTest)

# korvan_gtest(NAME LABEL label SOURCES ... LIBS ...): one GoogleTest executable whose cases
# are registered with ctest under the given label (host, registry, module, services, shell,
# e2e, stress, fuzz), linked with the tests' support library (tests/support).
function(korvan_gtest name)
  cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_LABEL)
    message(FATAL_ERROR "korvan_gtest(${name}) needs a LABEL")
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} korvan_test_support GTest::gmock GTest::gtest_main
    Threads::Threads)
  korvan_warnings(${name})
  gtest_discover_tests(${name}
    PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT}
    DISCOVERY_TIMEOUT 60
    NO_PRETTY_VALUES)
endfunction()
