list(APPEND NADIRO_TEST_SOURCES
  dither/ordered_test.cpp
)
