list(APPEND NADIRO_TEST_SOURCES
  engine/engine_support.cpp
  engine/nearest_test.cpp
  engine/matrices_test.cpp
  engine/dither_test.cpp
  engine/arguments_test.cpp
)
