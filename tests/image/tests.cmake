list(APPEND NADIRO_TEST_SOURCES
  image/layer_test.cpp
)
