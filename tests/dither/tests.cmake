list(APPEND NADIRO_TEST_SOURCES
  dither/dither_reference.cpp
  dither/frame_test.cpp
  dither/diffusion_test.cpp
  dither/sharp_smooth_test.cpp
  dither/ordered_test.cpp
  dither/levels_test.cpp
)
