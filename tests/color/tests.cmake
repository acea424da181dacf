list(APPEND NADIRO_TEST_SOURCES
  color/reference.cpp
  color/formulas_test.cpp
  color/pixel_conversions_test.cpp
  color/convert_image_test.cpp
  color/convert_buffer_test.cpp
  color/convert_rows_test.cpp
)
