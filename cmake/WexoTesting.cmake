# wexo_add_test(NAME name SOURCES a_test.cpp ... LIBS lib ...)
# One GoogleTest executable per component, registered with CTest test by test.
if(WEXO_BUILD_TESTS)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

function(wexo_add_test)
  cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT WEXO_BUILD_TESTS)
    return()
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${T_NAME} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES LABELS "${T_LABELS}")
endfunction()
