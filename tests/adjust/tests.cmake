list(APPEND NADIRO_TEST_SOURCES adjust/adjust_test.cpp)
