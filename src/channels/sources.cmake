list(APPEND NADIRO_SOURCES
  src/channels/split.cpp
  src/channels/merge.cpp
  src/channels/convolution.cpp
  src/channels/convolution_engine.cpp
  src/channels/convolution_kernel.cpp
  src/channels/convolution_rows.cpp
  src/channels/channel_rows.cpp
)
nadiro_isa_sources(avx2 src/channels/convolution_rows_avx2.cpp src/channels/channel_rows_avx2.cpp)
if(WIN32)
  list(APPEND NADIRO_SOURCES src/channels/convolution_file_win32.cpp)
else()
  list(APPEND NADIRO_SOURCES src/channels/convolution_file_posix.cpp)
endif()
