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
    frame/companion_dialogs_win32_test.cpp
    frame/progress_win32_test.cpp
    frame/thread_state_win32_test.cpp
  )
endif()

# Exports with memory gone: a program of its own, since it replaces the
# global allocation functions. The handle table it fills is the POSIX one.
if(NOT WIN32)
  add_executable(out_of_memory_test frame/out_of_memory_test.cpp support/images.cpp)
  target_include_directories(out_of_memory_test PRIVATE . ../src)
  target_link_libraries(out_of_memory_test PRIVATE nadiro_static nadiro_test_warnings
                                                   GTest::gtest_main)
  add_test(NAME out_of_memory COMMAND out_of_memory_test)
endif()
