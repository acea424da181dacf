if(WIN32)
  list(APPEND NADIRO_TEST_SOURCES exports/export_table_win32_test.cpp)

  # A test-only module with one three-byte-record export, compiled like the
  # library, to pin the record-return convention until the colour family
  # brings real ones (the test then checks those too).
  add_library(NadiroRecordProbe SHARED exports/record_probe.cpp)
  target_include_directories(NadiroRecordProbe PRIVATE ../include)
  target_link_libraries(NadiroRecordProbe PRIVATE nadiro_warnings nadiro_fp)
  target_link_options(NadiroRecordProbe PRIVATE -Wl,--kill-at)
  set_target_properties(NadiroRecordProbe PROPERTIES PREFIX ""
    RUNTIME_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR})
  list(APPEND NADIRO_TEST_MODULES NadiroRecordProbe)
endif()
