list(APPEND NADIRO_SOURCES
  src/engine/kernels.cpp
  src/engine/matrices.cpp
  src/engine/palette.cpp
  src/engine/nearest.cpp
  src/engine/engine.cpp
  src/engine/export.cpp
)
