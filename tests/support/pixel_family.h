// The 72 pixel conversions, one entry per ordered pair of models, each
// callable through one shape: record bytes in (4 read for a CMYK source),
// result bytes out (4 for a CMYK target, the packed value unpacked C, M, Y, K).
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "nadiro/nadiro.h"

namespace nadiro::test {

using Record = std::array<uint8_t, 4>;

inline Record callMember(NadiroColor3(NADIRO_CALL* fn)(const NadiroColor3*), const uint8_t* in) {
  NadiroColor3 rec;
  std::memcpy(rec.v, in, 3);
  const NadiroColor3 r = fn(&rec);
  return {r.v[0], r.v[1], r.v[2], 0};
}
inline Record callMember(NadiroPackedCMYK(NADIRO_CALL* fn)(const NadiroColor3*),
                         const uint8_t* in) {
  NadiroColor3 rec;
  std::memcpy(rec.v, in, 3);
  const uint32_t p = fn(&rec);
  return {static_cast<uint8_t>(p), static_cast<uint8_t>(p >> 8), static_cast<uint8_t>(p >> 16),
          static_cast<uint8_t>(p >> 24)};
}
inline Record callMember(NadiroColor3(NADIRO_CALL* fn)(const NadiroColor4*), const uint8_t* in) {
  NadiroColor4 rec;
  std::memcpy(rec.v, in, 4);
  const NadiroColor3 r = fn(&rec);
  return {r.v[0], r.v[1], r.v[2], 0};
}

// Model ids as the image conversion numbers them.
struct PixelMember {
  const char* name;
  int32_t from, to;
  Record (*run)(const uint8_t* in);
};

#define NADIRO_PIXEL_MEMBER(F, T)                                   \
  PixelMember {                                                     \
#F "to" #T, NADIRO_MODEL_##F, NADIRO_MODEL_##T,                 \
        [](const uint8_t* in) { return callMember(&F##to##T, in); } \
  }
#define NADIRO_FROM(F, A, B, C, D, E, G, H)                                            \
  NADIRO_PIXEL_MEMBER(F, A), NADIRO_PIXEL_MEMBER(F, B), NADIRO_PIXEL_MEMBER(F, C),     \
      NADIRO_PIXEL_MEMBER(F, D), NADIRO_PIXEL_MEMBER(F, E), NADIRO_PIXEL_MEMBER(F, G), \
      NADIRO_PIXEL_MEMBER(F, H)

inline const PixelMember kPixelFamily[] = {
    NADIRO_FROM(RGB, CMY, CMYK, HSV, HSI, YIQ, YUV, XYZ), NADIRO_PIXEL_MEMBER(RGB, LAB),
    NADIRO_FROM(CMY, RGB, CMYK, HSV, HSI, YIQ, YUV, XYZ), NADIRO_PIXEL_MEMBER(CMY, LAB),
    NADIRO_FROM(CMYK, RGB, CMY, HSV, HSI, YIQ, YUV, XYZ), NADIRO_PIXEL_MEMBER(CMYK, LAB),
    NADIRO_FROM(HSV, RGB, CMY, CMYK, HSI, YIQ, YUV, XYZ), NADIRO_PIXEL_MEMBER(HSV, LAB),
    NADIRO_FROM(HSI, RGB, CMY, CMYK, HSV, YIQ, YUV, XYZ), NADIRO_PIXEL_MEMBER(HSI, LAB),
    NADIRO_FROM(YIQ, RGB, CMY, CMYK, HSV, HSI, YUV, XYZ), NADIRO_PIXEL_MEMBER(YIQ, LAB),
    NADIRO_FROM(YUV, RGB, CMY, CMYK, HSV, HSI, YIQ, XYZ), NADIRO_PIXEL_MEMBER(YUV, LAB),
    NADIRO_FROM(XYZ, RGB, CMY, CMYK, HSV, HSI, YIQ, YUV), NADIRO_PIXEL_MEMBER(XYZ, LAB),
    NADIRO_FROM(LAB, RGB, CMY, CMYK, HSV, HSI, YIQ, YUV), NADIRO_PIXEL_MEMBER(LAB, XYZ),
};

#undef NADIRO_FROM
#undef NADIRO_PIXEL_MEMBER

inline int recordBytes(int32_t model) {
  return model == NADIRO_MODEL_CMYK ? 4 : 3;
}

}  // namespace nadiro::test
