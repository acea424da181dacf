// AVX-512 dithering kernels; the grey pass is the AVX2 one.
#include "dither/kernels.h"

#if defined(__AVX512BW__)
#include <immintrin.h>

#include <cstring>

namespace nadiro::dither {

namespace {

void orderedBitsAvx512(const uint8_t* px, const uint8_t* pattern, uint32_t count, uint8_t* out) {
  // Bytes 7..0 and 15..8 of every 16-byte lane.
  constexpr long long kLow = 0x0001020304050607, kHigh = 0x08090A0B0C0D0E0F;
  const __m512i reverse = _mm512_set_epi64(kHigh, kLow, kHigh, kLow, kHigh, kLow, kHigh, kLow);
  uint32_t j = 0;
  for (; j + 64 <= count; j += 64) {
    const __m512i v = _mm512_shuffle_epi8(_mm512_loadu_si512(px + j), reverse);
    const __m512i t = _mm512_loadu_si512(pattern + j);
    const uint64_t mask = _mm512_cmpge_epu8_mask(v, t);
    std::memcpy(out + j / 8, &mask, 8);
  }
  if (j < count) orderedBitsScalar(px + j, pattern + j, count - j, out + j / 8);
}

constexpr DitherKernels kAvx512{&orderedBitsAvx512, &addGrey24Avx2, &setGrey24Avx2,
                                &addChannels24Avx2};

}  // namespace

const DitherKernels* avx512DitherKernels() {
  return &kAvx512;
}

}  // namespace nadiro::dither
#else
namespace nadiro::dither {
const DitherKernels* avx512DitherKernels() {
  return nullptr;
}
}  // namespace nadiro::dither
#endif
