list(APPEND NADIRO_TEST_SOURCES
  frame/companion_test.cpp
  frame/memory_test.cpp
  frame/dib_test.cpp
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

# Companion modules that cancel, change the values, or lack entry points.
foreach(kind CANCEL CHANGE PARTIAL)
  string(TOLOWER ${kind} lower)
  string(SUBSTRING ${lower} 0 1 first)
  string(SUBSTRING ${lower} 1 -1 rest)
  string(TOUPPER ${first} first)
  set(target NadiroDlgs${first}${rest})
  add_library(${target} SHARED companions/test_companion.cpp)
  target_compile_definitions(${target} PRIVATE NADIRO_COMPANION_${kind})
  target_include_directories(${target} PRIVATE . ../include ../src)
  target_link_libraries(${target} PRIVATE nadiro_test_warnings)
  set_target_properties(${target} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR}
    RUNTIME_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR})
  if(WIN32)
    # dllexport of __stdcall functions: drop the @n decoration.
    target_link_options(${target} PRIVATE -Wl,--kill-at)
    set_target_properties(${target} PROPERTIES PREFIX "")
  else()
    set_target_properties(${target} PROPERTIES PREFIX "lib")
  endif()
  list(APPEND NADIRO_TEST_MODULES ${target})
endforeach()
