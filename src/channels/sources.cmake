list(APPEND NADIRO_SOURCES
  src/channels/split.cpp
  src/channels/merge.cpp
  src/channels/engine.cpp
  src/channels/kernel.cpp
)
if(WIN32)
  list(APPEND NADIRO_SOURCES src/channels/kernel_file_win32.cpp)
else()
  list(APPEND NADIRO_SOURCES src/channels/kernel_file_posix.cpp)
endif()
