list(APPEND NADIRO_TEST_SOURCES color/color_test.cpp)
