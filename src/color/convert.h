// Whole-image and buffer conversion between the colour models.
#pragma once

#include <cstdint>

#include "color/pixel_walk.h"
#include "frame/memory.h"

namespace nadiro::color {

// The biCompression tag of an image holding model `model` (1..10).
uint32_t modelTag(int32_t model);

// ConvertDIBColorSpace with the progress step function as a parameter.
MemHandle convertImage(MemHandle image, int32_t from, int32_t to, int32_t showProgress,
                       void* owner, StepFn step);

// ConvertColorSpace with the progress step function as a parameter.
int32_t convertBuffer(const uint8_t* source, uint8_t* target, int32_t length, int32_t from,
                      int32_t to, int32_t showProgress, void* owner, StepFn step);

}  // namespace nadiro::color
