# Cross-building the 32-bit Windows module with mingw-w64 (Debian's
# g++-mingw-w64-i686). The posix thread model of the compiler gives the test
# program std::thread; the runtime is linked statically (see CMakeLists.txt),
# so NadiroUser.dll imports system DLLs only.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(NADIRO_MINGW_TRIPLE i686-w64-mingw32)

find_program(CMAKE_C_COMPILER NAMES ${NADIRO_MINGW_TRIPLE}-gcc-posix ${NADIRO_MINGW_TRIPLE}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${NADIRO_MINGW_TRIPLE}-g++-posix ${NADIRO_MINGW_TRIPLE}-g++ REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${NADIRO_MINGW_TRIPLE}-windres REQUIRED)

set(CMAKE_FIND_ROOT_PATH /usr/${NADIRO_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test programs run under Wine.
find_program(NADIRO_WINE NAMES wine)
if(NADIRO_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${NADIRO_WINE})
endif()
