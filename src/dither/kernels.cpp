// The scalar row kernels and the choice of the table in force.
#include "dither/kernels.h"

namespace nadiro::dither {

void orderedBitsScalar(const uint8_t* px, const uint8_t* pattern, uint32_t count, uint8_t* out) {
  for (uint32_t j0 = 0; j0 < count; j0 += 8) {
    const uint32_t n = count - j0 < 8 ? count - j0 : 8;
    unsigned byte = 0;
    for (uint32_t b = 0; b < n; ++b)
      byte |= unsigned{px[j0 + b] >= pattern[(j0 + b) ^ 7]} << (7 - b);
    out[j0 / 8] = static_cast<uint8_t>(byte);
  }
}

namespace {

inline int greyOf(const uint8_t* p) {
  return static_cast<int>((p[2] * 30u + p[1] * 59u + p[0] * 11u) / 100u);
}

}  // namespace

void addGrey24Scalar(const uint8_t* bgr, uint32_t count, int16_t* row) {
  for (uint32_t x = 0; x < count; ++x)
    row[x] = static_cast<int16_t>(row[x] + greyOf(bgr + 3 * size_t{x}));
}

void setGrey24Scalar(const uint8_t* bgr, uint32_t count, int16_t* row) {
  for (uint32_t x = 0; x < count; ++x) row[x] = static_cast<int16_t>(greyOf(bgr + 3 * size_t{x}));
}

void addChannels24Scalar(const uint8_t* bgr, uint32_t count, int16_t* red, int16_t* green,
                         int16_t* blue) {
  for (uint32_t x = 0; x < count; ++x) {
    const uint8_t* p = bgr + 3 * size_t{x};
    blue[x] = static_cast<int16_t>(blue[x] + p[0]);
    green[x] = static_cast<int16_t>(green[x] + p[1]);
    red[x] = static_cast<int16_t>(red[x] + p[2]);
  }
}

KernelLevels<DitherKernels>& ditherLevels() {
  static constexpr DitherKernels kScalar{&orderedBitsScalar, &addGrey24Scalar, &setGrey24Scalar,
                                         &addChannels24Scalar};
  static KernelLevels<DitherKernels> levels(
      {[]() { return &kScalar; }, &sse2DitherKernels, &avx2DitherKernels, &avx512DitherKernels});
  return levels;
}

}  // namespace nadiro::dither
