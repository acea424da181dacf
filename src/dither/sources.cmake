list(APPEND NADIRO_SOURCES
  src/dither/ordered.cpp
)
