list(APPEND NADIRO_TEST_SOURCES
  channels/channels_test.cpp
  channels/levels_test.cpp
)
