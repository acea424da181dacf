if(WIN32)
  list(APPEND NADIRO_TEST_SOURCES exports/export_table_win32_test.cpp)
endif()
