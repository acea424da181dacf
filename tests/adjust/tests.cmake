list(APPEND NADIRO_TEST_SOURCES
  adjust/reference.cpp
  adjust/pixels_test.cpp
  adjust/shells_test.cpp
)
