list(APPEND NADIRO_SOURCES
  src/frame/companion.cpp
  src/frame/dib.cpp
  src/frame/thread_state.cpp
  src/frame/version.cpp
)
if(WIN32)
  list(APPEND NADIRO_SOURCES
    src/frame/companion_win32.cpp
    src/frame/memory_win32.cpp
    src/frame/progress_win32.cpp
    src/frame/thread_state_win32.cpp
  )
else()
  list(APPEND NADIRO_SOURCES
    src/frame/companion_posix.cpp
    src/frame/memory_posix.cpp
    src/frame/progress_posix.cpp
  )
endif()
