list(APPEND NADIRO_SOURCES
  src/dither/buffers.cpp
  src/dither/diffusion.cpp
  src/dither/kernels.cpp
  src/dither/sharp_smooth.cpp
  src/dither/ordered.cpp
)
nadiro_isa_sources(sse2 src/dither/kernels_sse2.cpp)
nadiro_isa_sources(avx2 src/dither/kernels_avx2.cpp)
nadiro_isa_sources(avx512 src/dither/kernels_avx512.cpp)
