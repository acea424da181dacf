list(APPEND NADIRO_TEST_SOURCES
  frame/memory_test.cpp
  frame/dib_test.cpp
  frame/thread_state_test.cpp
  frame/version_test.cpp
)
