list(APPEND NADIRO_SOURCES
  src/dither/frame.cpp
  src/dither/diffusion.cpp
  src/dither/sharp_smooth.cpp
  src/dither/ordered.cpp
)
