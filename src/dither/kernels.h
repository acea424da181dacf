// Row kernels of the dithering family behind one table of function
// pointers, filled once for the instruction-set level in force (frame/cpu.h).
// The scalar kernels in kernels.cpp state the rules; the vector ones give
// the same bytes, faster.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"

namespace nadiro::dither {

struct DitherKernels {
  // Ordered dithering of `count` pixels to 1-bit output, most significant
  // bit first: a bit is set when px[j] >= pattern[j ^ 7] (the thresholds
  // come in groups of eight stored back to front, the order the vector
  // kernels pack bits in). Writes (count + 7) / 8 bytes, the last one's
  // unused bits 0.
  void (*orderedBits)(const uint8_t* px, const uint8_t* pattern, uint32_t count, uint8_t* out);
  // Adds the grey value (red * 30 + green * 59 + blue * 11) / 100 of each
  // of `count` blue, green, red pixels to a 16-bit working row (wrapping).
  void (*addGrey24)(const uint8_t* bgr, uint32_t count, int16_t* row);
  // The same grey values stored over the row's entries.
  void (*setGrey24)(const uint8_t* bgr, uint32_t count, int16_t* row);
  // Adds the red, green and blue bytes of `count` blue, green, red pixels to
  // three 16-bit working rows (wrapping).
  void (*addChannels24)(const uint8_t* bgr, uint32_t count, int16_t* red, int16_t* green,
                        int16_t* blue);
};

// The tables of every level (frame/dispatch.h).
KernelLevels<DitherKernels>& ditherLevels();
// The kernels of the level in force.
inline const DitherKernels& ditherKernels() {
  return ditherLevels().active();
}
// The kernels of `level` (a level the processor lacks gives its best).
inline const DitherKernels& ditherKernelsAt(CpuLevel level) {
  return ditherLevels().at(level);
}
// Makes the dithering exports use the kernels of `level` while it lives.
using ScopedDitherLevel = ScopedLevel<DitherKernels, ditherLevels>;

// The vector tables, defined in the per-level files (null off x86).
const DitherKernels* sse2DitherKernels();
const DitherKernels* avx2DitherKernels();
const DitherKernels* avx512DitherKernels();
// The scalar kernels the vector ones finish row tails with.
void orderedBitsScalar(const uint8_t* px, const uint8_t* pattern, uint32_t count, uint8_t* out);
void addGrey24Scalar(const uint8_t* bgr, uint32_t count, int16_t* row);
void setGrey24Scalar(const uint8_t* bgr, uint32_t count, int16_t* row);
void addChannels24Scalar(const uint8_t* bgr, uint32_t count, int16_t* red, int16_t* green,
                         int16_t* blue);
// The AVX2 grey passes, which the AVX-512 table shares.
void addGrey24Avx2(const uint8_t* bgr, uint32_t count, int16_t* row);
void setGrey24Avx2(const uint8_t* bgr, uint32_t count, int16_t* row);
void addChannels24Avx2(const uint8_t* bgr, uint32_t count, int16_t* red, int16_t* green,
                       int16_t* blue);

}  // namespace nadiro::dither
