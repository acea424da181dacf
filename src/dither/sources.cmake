list(APPEND NADIRO_SOURCES
  src/dither/buffers.cpp
  src/dither/diffusion.cpp
  src/dither/sharp_smooth.cpp
  src/dither/ordered.cpp
)
