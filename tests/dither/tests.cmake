list(APPEND NADIRO_TEST_SOURCES
  dither/dither_test.cpp
)
