list(APPEND NADIRO_SOURCES
  src/color/pixel_conversions.cpp
  src/color/pixel_walk.cpp
  src/color/convert_rows.cpp
  src/color/convert_image.cpp
  src/color/convert_buffer.cpp
  src/color/last_error.cpp
)
nadiro_isa_sources(sse2 src/color/convert_rows_sse2.cpp)
nadiro_isa_sources(avx2 src/color/convert_rows_avx2.cpp)
nadiro_isa_sources(avx512 src/color/convert_rows_avx512.cpp)
