list(APPEND NADIRO_TEST_SOURCES
  dither/dither_reference.cpp
  dither/dither_test.cpp
)
