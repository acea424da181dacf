list(APPEND NADIRO_TEST_SOURCES
  engine/engine_test.cpp
  engine/arguments_test.cpp
)
