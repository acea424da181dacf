list(APPEND NADIRO_TEST_SOURCES
  color/color_test.cpp
  color/convert_rows_test.cpp
)
