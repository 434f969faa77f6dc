# Helpers that register test binaries with CTest under the labels the scripts select on.
if(LUMIVALE_TESTS)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# Tests log into the build folder, never into the user's own log.
set(LUMIVALE_TEST_LOGS "LUMIVALE_LOG_DIR=${PROJECT_BINARY_DIR}/test-logs")

# Outputs printed by real Android devices and adb, kept beside the checkout (one level up
# in a plain clone, two in a worktree below it).
find_path(LUMIVALE_ANDROID_OUTPUTS SOURCES.md
          PATHS "${PROJECT_SOURCE_DIR}/../shared/android-outputs"
                "${PROJECT_SOURCE_DIR}/../../shared/android-outputs"
          NO_DEFAULT_PATH)

# lumivale_reads_android_outputs(TARGET): the test finds them at LUMIVALE_ANDROID_OUTPUTS.
function(lumivale_reads_android_outputs target)
  if(NOT TARGET ${target})
    return()
  endif()
  if(NOT LUMIVALE_ANDROID_OUTPUTS)
    message(FATAL_ERROR "the captured Android outputs (shared/android-outputs) are not beside the checkout")
  endif()
  target_compile_definitions(${target} PRIVATE LUMIVALE_ANDROID_OUTPUTS="${LUMIVALE_ANDROID_OUTPUTS}")
endfunction()

# lumivale_unit_test(NAME src...): one GoogleTest binary per subsystem, label "unit".
function(lumivale_unit_test name)
  if(NOT LUMIVALE_TESTS)
    return()
  endif()
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE lumivale-core GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} PROPERTIES LABELS unit ENVIRONMENT "${LUMIVALE_TEST_LOGS}"
                                         DISCOVERY_TIMEOUT 60)
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
  set_tests_properties(${name} PROPERTIES LABELS integration ENVIRONMENT "${LUMIVALE_TEST_LOGS}"
                                          TIMEOUT 1800)
endfunction()
