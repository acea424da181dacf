list(APPEND NADIRO_SOURCES
  src/adjust/brightness_contrast.cpp
  src/adjust/hue_saturation.cpp
  src/adjust/cmyk_levels.cpp
  src/adjust/desaturate.cpp
  src/adjust/gamma.cpp
  src/adjust/replace_color.cpp
)
