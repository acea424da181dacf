list(APPEND NADIRO_TEST_SOURCES
  channels/convolution_reference.cpp
  channels/channels_test.cpp
  channels/levels_test.cpp
)
