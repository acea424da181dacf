list(APPEND NADIRO_TEST_SOURCES
  channels/convolution_reference.cpp
  channels/convolution_test.cpp
  channels/kernel_test.cpp
  channels/split_merge_test.cpp
)

# A companion module whose convolution dialog always answers Cancel, next to
# the library's own modules where the loader looks.
add_library(channels_cancel_dlgs SHARED channels/cancel_dialog_module.cpp)
target_include_directories(channels_cancel_dlgs PRIVATE ${PROJECT_SOURCE_DIR}/include
                           ${PROJECT_SOURCE_DIR}/src)
set_target_properties(channels_cancel_dlgs PROPERTIES
  OUTPUT_NAME ChannelsCancelDlgs
  LIBRARY_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR}
  RUNTIME_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR})
if(WIN32)
  set_target_properties(channels_cancel_dlgs PROPERTIES PREFIX "")
  target_link_options(channels_cancel_dlgs PRIVATE -Wl,--kill-at)
endif()
list(APPEND NADIRO_TEST_MODULES channels_cancel_dlgs)
