list(APPEND NADIRO_TEST_SOURCES
  adjust/reference.cpp
  adjust/pixels_test.cpp
  adjust/shells_test.cpp
)

# Companion modules whose adjustment dialogs cancel or change every value.
foreach(kind CANCEL CHANGE)
  string(TOLOWER ${kind} lower)
  set(target NadiroDlgsAdjust_${lower})
  add_library(${target} SHARED adjust/test_companion.cpp)
  target_compile_definitions(${target} PRIVATE NADIRO_ADJUST_${kind})
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
