# NadiroDlgs: the companion module with the parameter-dialog entry points,
# built next to NadiroUser so that the library finds it in its own folder.
# Its dialogs exist on Windows only; elsewhere it accepts the caller's values.
add_library(NadiroDlgs SHARED src/companion/nadiro_dlgs.cpp)
target_include_directories(NadiroDlgs PRIVATE include src)
target_link_libraries(NadiroDlgs PRIVATE nadiro_warnings)
if(WIN32)
  target_sources(NadiroDlgs PRIVATE src/companion/NadiroDlgs.def src/companion/dialogs_win32.cpp)
  target_link_libraries(NadiroDlgs PRIVATE user32 gdi32 comctl32)
  target_link_options(NadiroDlgs PRIVATE -Wl,--enable-stdcall-fixup)
  set_target_properties(NadiroDlgs PROPERTIES PREFIX "")
else()
  set_target_properties(NadiroDlgs PROPERTIES PREFIX "lib")
endif()
if(WIN32)
  # The dialogs' previews run the operations through the module's own copy
  # of the library, apart from the host's per-thread state.
  # Its attach/detach entry gives that copy its per-thread blocks.
  target_sources(NadiroDlgs PRIVATE src/frame/dll_main_win32.cpp)
  target_link_libraries(NadiroDlgs PRIVATE nadiro_static)
  # In the build tree the real dialogs sit in a folder of their own, so that
  # only the tests that ask for them by path meet them (the others would wait
  # for a person to close a dialog). Installed, it goes beside NadiroUser.dll.
  set_target_properties(NadiroDlgs PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                                              ${CMAKE_BINARY_DIR}/companion)
endif()
