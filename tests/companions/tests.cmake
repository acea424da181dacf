# Test companions that cancel, change the values, or lack entry points, each
# named like the shipped companion in companions/<kind>/ beside the test
# program, whose own folder holds none (test_companion.h).
list(APPEND NADIRO_TEST_SOURCES companions/test_companion_loader.cpp)
foreach(kind CANCEL CHANGE PARTIAL)
  string(TOLOWER ${kind} folder)
  set(target test_companion_${folder})
  add_library(${target} SHARED companions/test_companion.cpp)
  target_compile_definitions(${target} PRIVATE NADIRO_COMPANION_${kind})
  target_include_directories(${target} PRIVATE . ../include ../src)
  target_link_libraries(${target} PRIVATE nadiro_test_warnings)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME NadiroDlgs
    LIBRARY_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR}/companions/${folder}
    RUNTIME_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR}/companions/${folder}
    ARCHIVE_OUTPUT_DIRECTORY ${NADIRO_TEST_OUTPUT_DIR}/companions/${folder})
  if(WIN32)
    # dllexport of __stdcall functions: drop the @n decoration.
    target_link_options(${target} PRIVATE -Wl,--kill-at)
    set_target_properties(${target} PROPERTIES PREFIX "")
  else()
    set_target_properties(${target} PROPERTIES PREFIX "lib")
  endif()
  list(APPEND NADIRO_TEST_MODULES ${target})
endforeach()
