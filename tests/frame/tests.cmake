list(APPEND NADIRO_TEST_SOURCES
  frame/memory_test.cpp
  frame/progress_test.cpp
  frame/thread_state_test.cpp
  frame/version_test.cpp
)
if(WIN32)
  list(APPEND NADIRO_TEST_SOURCES
    support/module_attach_win32.cpp
    frame/companion_win32_test.cpp
    frame/progress_win32_test.cpp
    frame/thread_state_win32_test.cpp
  )
endif()
