# Helpers that register test binaries with CTest under the labels the scripts select on.
if(LUMIVALE_TESTS)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# lumivale_unit_test(NAME src...): one GoogleTest binary per subsystem, label "unit".
function(lumivale_unit_test name)
  if(NOT LUMIVALE_TESTS)
    return()
  endif()
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE lumivale-core GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} PROPERTIES LABELS unit DISCOVERY_TIMEOUT 60)
endfunction()

# lumivale_integration_test(NAME src...): runs real tools (adb, the stand-in, servers),
# label "integration". Tests in one binary share one fixture, so they run serially.
function(lumivale_integration_test name)
  if(NOT LUMIVALE_TESTS)
    return()
  endif()
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE lumivale-core lumivale-testkit GTest::gmock GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS integration TIMEOUT 1800)
endfunction()
