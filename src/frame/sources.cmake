list(APPEND NADIRO_SOURCES
  src/frame/cpu.cpp
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

# Vector kernels: one file per instruction set, compiled with that set's
# flags and chosen at run time (frame/cpu.h). Off x86 the files compile
# to nothing and the scalar kernels run.
#   nadiro_isa_sources(avx2 src/color/convert_avx2.cpp ...)
function(nadiro_isa_sources level)
  set(flags "")
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86|x86)$" OR WIN32)
    if(level STREQUAL "sse2")
      set(flags -msse2)
    elseif(level STREQUAL "avx2")
      set(flags -mavx2)
    elseif(level STREQUAL "avx512")
      set(flags -mavx512f -mavx512bw -mavx512vl -mavx512dq)
    else()
      message(FATAL_ERROR "nadiro_isa_sources: unknown level ${level}")
    endif()
  endif()
  # No -mfma: a fused multiply-add would round differently from the scalar
  # formula (and -ffp-contract=off keeps the compiler from making one).
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${flags}")
  set(NADIRO_SOURCES ${NADIRO_SOURCES} ${ARGN} PARENT_SCOPE)
endfunction()
