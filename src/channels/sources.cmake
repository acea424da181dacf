list(APPEND NADIRO_SOURCES
  src/channels/split.cpp
  src/channels/merge.cpp
  src/channels/convolution.cpp
  src/channels/convolution_engine.cpp
  src/channels/convolution_kernel.cpp
)
if(WIN32)
  list(APPEND NADIRO_SOURCES src/channels/convolution_file_win32.cpp)
else()
  list(APPEND NADIRO_SOURCES src/channels/convolution_file_posix.cpp)
endif()
