// AVX2 dithering kernels.
#include "dither/kernels.h"

#if defined(__AVX2__)
#include <immintrin.h>

#include <cstring>

namespace nadiro::dither {
namespace {

struct GatherMasks {
  alignas(16) int8_t m[3][48];
};
// [channel] three 16-byte shuffles, for the first, second and third 16
// source bytes, that gather channel bytes 0..15 of 16 pixels.
constexpr GatherMasks makeGatherMasks() {
  GatherMasks g{};
  for (int ch = 0; ch < 3; ++ch)
    for (int part = 0; part < 3; ++part)
      for (int k = 0; k < 16; ++k) {
        const int at = 3 * k + ch - 16 * part;
        g.m[ch][16 * part + k] = static_cast<int8_t>(at >= 0 && at < 16 ? at : -1);
      }
  return g;
}
constexpr GatherMasks kGather = makeGatherMasks();

// Channel ch (0 blue, 1 green, 2 red) of 16 blue, green, red pixels: byte k
// is byte 3k + ch of the 48 bytes a:b:c.
inline __m128i gatherChannel(__m128i a, __m128i b, __m128i c, int ch) {
  const auto* m = reinterpret_cast<const __m128i*>(kGather.m[ch]);
  return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, _mm_load_si128(m)),
                                   _mm_shuffle_epi8(b, _mm_load_si128(m + 1))),
                      _mm_shuffle_epi8(c, _mm_load_si128(m + 2)));
}

struct Channels16 {
  __m256i blue, green, red;  // 16-bit lanes
};

inline Channels16 channelsOf16(const uint8_t* bgr) {
  const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgr));
  const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgr + 16));
  const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bgr + 32));
  return {_mm256_cvtepu8_epi16(gatherChannel(a, b, c, 0)),
          _mm256_cvtepu8_epi16(gatherChannel(a, b, c, 1)),
          _mm256_cvtepu8_epi16(gatherChannel(a, b, c, 2))};
}

// Grey values of 16 blue, green, red pixels (48 bytes) as 16-bit lanes:
// (red * 30 + green * 59 + blue * 11) / 100, the quotient as a
// multiply-high (s * 5243) >> 19, exact for every s up to 255 * 100.
inline __m256i greyOf16Avx2(const uint8_t* bgr) {
  const Channels16 ch = channelsOf16(bgr);
  const __m256i sum =
      _mm256_add_epi16(_mm256_add_epi16(_mm256_mullo_epi16(ch.red, _mm256_set1_epi16(30)),
                                        _mm256_mullo_epi16(ch.green, _mm256_set1_epi16(59))),
                       _mm256_mullo_epi16(ch.blue, _mm256_set1_epi16(11)));
  return _mm256_srli_epi16(_mm256_mulhi_epu16(sum, _mm256_set1_epi16(5243)), 3);
}

inline void addTo(int16_t* row, __m256i values) {
  auto* at = reinterpret_cast<__m256i*>(row);
  _mm256_storeu_si256(at, _mm256_add_epi16(_mm256_loadu_si256(at), values));
}

}  // namespace

void addGrey24Avx2(const uint8_t* bgr, uint32_t count, int16_t* row) {
  uint32_t x = 0;
  for (; x + 16 <= count; x += 16) addTo(row + x, greyOf16Avx2(bgr + 3 * x));
  if (x < count) addGrey24Scalar(bgr + 3 * size_t{x}, count - x, row + x);
}

void setGrey24Avx2(const uint8_t* bgr, uint32_t count, int16_t* row) {
  uint32_t x = 0;
  for (; x + 16 <= count; x += 16)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(row + x), greyOf16Avx2(bgr + 3 * x));
  if (x < count) setGrey24Scalar(bgr + 3 * size_t{x}, count - x, row + x);
}

void addChannels24Avx2(const uint8_t* bgr, uint32_t count, int16_t* red, int16_t* green,
                       int16_t* blue) {
  uint32_t x = 0;
  for (; x + 16 <= count; x += 16) {
    const Channels16 ch = channelsOf16(bgr + 3 * x);
    addTo(blue + x, ch.blue);
    addTo(green + x, ch.green);
    addTo(red + x, ch.red);
  }
  if (x < count) addChannels24Scalar(bgr + 3 * size_t{x}, count - x, red + x, green + x, blue + x);
}

namespace {

void orderedBitsAvx2(const uint8_t* px, const uint8_t* pattern, uint32_t count, uint8_t* out) {
  const __m256i reverse = _mm256_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 7,
                                           6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8);
  uint32_t j = 0;
  for (; j + 32 <= count; j += 32) {
    const __m256i v =
        _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(px + j)), reverse);
    const __m256i t = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pattern + j));
    const auto mask =
        static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_max_epu8(v, t), v)));
    std::memcpy(out + j / 8, &mask, 4);
  }
  if (j < count) orderedBitsScalar(px + j, pattern + j, count - j, out + j / 8);
}

constexpr DitherKernels kAvx2{&orderedBitsAvx2, &addGrey24Avx2, &setGrey24Avx2, &addChannels24Avx2};

}  // namespace

const DitherKernels* avx2DitherKernels() {
  return &kAvx2;
}

}  // namespace nadiro::dither
#else
namespace nadiro::dither {
const DitherKernels* avx2DitherKernels() {
  return nullptr;
}
}  // namespace nadiro::dither
#endif
