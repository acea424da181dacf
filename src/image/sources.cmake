list(APPEND NADIRO_SOURCES
  src/image/rows.cpp
  src/image/image_exports.cpp
)
