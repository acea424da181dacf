// SSE2 dithering kernels.
#include "dither/kernels.h"

#if defined(__SSE2__)
#include <emmintrin.h>

#include <cstring>

namespace nadiro::dither {
namespace {

// Reverses the bytes of each 8-byte half.
inline __m128i reverseGroups(__m128i v) {
  const __m128i words = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, 0x1B), 0x1B);
  return _mm_or_si128(_mm_slli_epi16(words, 8), _mm_srli_epi16(words, 8));
}

void orderedBitsSse2(const uint8_t* px, const uint8_t* pattern, uint32_t count, uint8_t* out) {
  uint32_t j = 0;
  for (; j + 16 <= count; j += 16) {
    const __m128i v = reverseGroups(_mm_loadu_si128(reinterpret_cast<const __m128i*>(px + j)));
    const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pattern + j));
    const auto mask =
        static_cast<uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(v, t), v)));
    std::memcpy(out + j / 8, &mask, 2);
  }
  if (j < count) orderedBitsScalar(px + j, pattern + j, count - j, out + j / 8);
}

constexpr DitherKernels kSse2{&orderedBitsSse2, &addGrey24Scalar, &setGrey24Scalar,
                              &addChannels24Scalar};

}  // namespace

const DitherKernels* sse2DitherKernels() {
  return &kSse2;
}

}  // namespace nadiro::dither
#else
namespace nadiro::dither {
const DitherKernels* sse2DitherKernels() {
  return nullptr;
}
}  // namespace nadiro::dither
#endif
