list(APPEND NADIRO_SOURCES
  src/color/pixel_conversions.cpp
  src/color/pixel_walk.cpp
  src/color/convert_image.cpp
  src/color/convert_buffer.cpp
  src/color/last_error.cpp
)
