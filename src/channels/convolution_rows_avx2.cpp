// AVX2 convolution row kernels: 16 pixels a step, the sums in 16-bit lanes
// that wrap like the scalar ones.
#include "channels/convolution_rows.h"

#if defined(__AVX2__)
#include <immintrin.h>

namespace nadiro::channels {
namespace {

struct ByteMasks {
  alignas(16) int8_t m[3][16];
};

// [channel] three 16-byte shuffles, for the first, second and third 16
// source bytes, that gather channel bytes 0..15 of 16 pixels.
constexpr ByteMasks makeGather(int ch) {
  ByteMasks g{};
  for (int part = 0; part < 3; ++part)
    for (int k = 0; k < 16; ++k) {
      const int at = 3 * k + ch - 16 * part;
      g.m[part][k] = static_cast<int8_t>(at >= 0 && at < 16 ? at : -1);
    }
  return g;
}
constexpr ByteMasks kGather[3] = {makeGather(0), makeGather(1), makeGather(2)};

// [g] the 16-bit lanes of eight pixel values that line up with bytes
// 8g..8g+7 of the 24 bytes of those pixels.
constexpr ByteMasks kSpread = [] {
  ByteMasks s{};
  for (int g = 0; g < 3; ++g)
    for (int j = 0; j < 8; ++j) {
      const int pixel = (8 * g + j) / 3;
      s.m[g][2 * j] = static_cast<int8_t>(2 * pixel);
      s.m[g][2 * j + 1] = static_cast<int8_t>(2 * pixel + 1);
    }
  return s;
}();

inline __m128i load16(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline __m128i mask(const ByteMasks& m, int k) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(m.m[k]));
}

// Channel ch (0 blue, 1 green, 2 red) of the 16 pixels in a:b:c, widened.
inline __m256i channel(__m128i a, __m128i b, __m128i c, int ch) {
  const ByteMasks& g = kGather[ch];
  return _mm256_cvtepu8_epi16(
      _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, mask(g, 0)), _mm_shuffle_epi8(b, mask(g, 1))),
                   _mm_shuffle_epi8(c, mask(g, 2))));
}

// (3 R + 15 G + 8 B) <= 6630: the high half of the product with
// ceil(2^20 / 26), shifted by 4, is the quotient by 26 over that range.
void lumaRowAvx2(const uint8_t* px, int16_t* s, uint32_t width) {
  uint32_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8_t* p = px + 3 * size_t{x};
    const __m128i a = load16(p), b = load16(p + 16), c = load16(p + 32);
    const __m256i sum = _mm256_add_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(channel(a, b, c, 2), _mm256_set1_epi16(3)),
                         _mm256_mullo_epi16(channel(a, b, c, 1), _mm256_set1_epi16(15))),
        _mm256_slli_epi16(channel(a, b, c, 0), 3));
    const __m256i q = _mm256_srli_epi16(
        _mm256_mulhi_epu16(sum, _mm256_set1_epi16(static_cast<int16_t>(40330))), 4);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(s + x), q);
  }
  lumaRowScalar(px + 3 * size_t{x}, s + x, width - x);
}

// B + G + R <= 765: the high half of the product with ceil(2^16 / 3) is the
// quotient by 3 over that range.
void meanRowAvx2(const uint8_t* px, int16_t* s, uint32_t width) {
  uint32_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8_t* p = px + 3 * size_t{x};
    const __m128i a = load16(p), b = load16(p + 16), c = load16(p + 32);
    const __m256i sum = _mm256_add_epi16(_mm256_add_epi16(channel(a, b, c, 0), channel(a, b, c, 1)),
                                         channel(a, b, c, 2));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(s + x),
                        _mm256_mulhi_epu16(sum, _mm256_set1_epi16(21846)));
  }
  meanRowScalar(px + 3 * size_t{x}, s + x, width - x);
}

// The quotient toward zero of 16-bit sums by a divisor up to 32768: the
// single-precision quotient of two such integers is never rounded across an
// integer (a fraction is at least 1 / divisor away from one, more than half
// the quotient's spacing), so truncating it gives the integer quotient.
inline __m256i divide(__m256i v, __m256 divisor) {
  const __m256i lo = _mm256_cvttps_epi32(
      _mm256_div_ps(_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(_mm256_castsi256_si128(v))), divisor));
  const __m256i hi = _mm256_cvttps_epi32(_mm256_div_ps(
      _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(_mm256_extracti128_si256(v, 1))), divisor));
  return _mm256_permute4x64_epi64(_mm256_packs_epi32(lo, hi), 0xD8);
}

// Adds the change of each of 16 pixels to its three bytes, clamped.
inline void compose(__m256i change, const uint8_t* src, uint8_t* dst) {
  const __m128i a = load16(src), b = load16(src + 16), c = load16(src + 32);
  const __m128i d[2] = {_mm256_castsi256_si128(change), _mm256_extracti128_si256(change, 1)};
  // Bytes 0..47 in six runs of eight: runs 0-2 belong to pixels 0-7, 3-5 to
  // pixels 8-15.
  const __m128i bytes[6] = {a, _mm_srli_si128(a, 8), b, _mm_srli_si128(b, 8),
                            c, _mm_srli_si128(c, 8)};
  __m128i sums[6];
  for (int g = 0; g < 6; ++g)
    sums[g] = _mm_adds_epi16(_mm_cvtepu8_epi16(bytes[g]),
                             _mm_shuffle_epi8(d[g / 3], mask(kSpread, g % 3)));
  for (int k = 0; k < 3; ++k)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 16 * k),
                     _mm_packus_epi16(sums[2 * k], sums[2 * k + 1]));
}

void filterRowAvx2(const RowFilter& f, const int16_t* const* rows, const uint8_t* src, uint8_t* dst,
                   uint32_t width) {
  const int16_t* at[kMaxTaps];
  for (int32_t t = 0; t < f.taps; ++t) at[t] = rows[f.row[t]] + f.offset[t];
  const int16_t* unfiltered = rows[f.c] + f.c;
  const __m128i shift = _mm_cvtsi32_si128(f.shift);
  const __m256 divisor = _mm256_set1_ps(static_cast<float>(f.divisor));
  // Column width - 2 of a slipping kernel is left to the scalar kernel.
  const uint32_t end = f.slipWeight && width >= 2 ? width - 2 : width;
  uint32_t x = 0;
  for (; x + 16 <= end; x += 16) {
    __m256i sum = _mm256_setzero_si256();
    for (int32_t t = 0; t < f.taps; ++t)
      sum = _mm256_add_epi16(
          sum, _mm256_mullo_epi16(_mm256_set1_epi16(f.weight[t]),
                                  _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at[t] + x))));
    if (f.shift)
      sum = _mm256_sra_epi16(sum, shift);
    else if (f.divisor != 1)
      sum = divide(sum, divisor);
    const __m256i change =
        _mm256_sub_epi16(sum, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(unfiltered + x)));
    compose(change, src + 3 * size_t{x}, dst + 3 * size_t{x});
  }
  filterColumnsScalar(f, rows, src, dst, x, width);
}

constexpr ConvolutionKernels kAvx2{&lumaRowAvx2, &meanRowAvx2, &filterRowAvx2};

}  // namespace

const ConvolutionKernels* avx2ConvolutionKernels() {
  return &kAvx2;
}

}  // namespace nadiro::channels
#else
namespace nadiro::channels {
const ConvolutionKernels* avx2ConvolutionKernels() {
  return nullptr;
}
}  // namespace nadiro::channels
#endif
