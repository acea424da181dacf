// AVX2 split and merge rows: 16 pixels a step, the bytes moved with
// shuffles.
#include "channels/channel_rows.h"

#if defined(__AVX2__)
#include <immintrin.h>

namespace nadiro::channels {
namespace {

// [part][byte of the pixel] the 16-byte shuffle that moves the bytes of
// 16 pixels between 16 values of one channel and part 0, 1 or 2 of the 48
// pixel bytes; -1 where the channel has no byte.
struct Shuffles {
  alignas(16) int8_t m[3][3][16];
};

// Gathering channel ch out of pixel part p: byte k takes 3k + ch - 16p.
constexpr Shuffles kGather = [] {
  Shuffles s{};
  for (int p = 0; p < 3; ++p)
    for (int ch = 0; ch < 3; ++ch)
      for (int k = 0; k < 16; ++k) {
        const int at = 3 * k + ch - 16 * p;
        s.m[p][ch][k] = static_cast<int8_t>(at >= 0 && at < 16 ? at : -1);
      }
  return s;
}();

// Spreading channel ch into pixel part p: byte j takes value (16p + j) / 3
// when that byte belongs to the channel.
constexpr Shuffles kSpread = [] {
  Shuffles s{};
  for (int p = 0; p < 3; ++p)
    for (int ch = 0; ch < 3; ++ch)
      for (int j = 0; j < 16; ++j) {
        const int k = 16 * p + j;
        s.m[p][ch][j] = static_cast<int8_t>(k % 3 == ch ? k / 3 : -1);
      }
  return s;
}();

inline __m128i shuffle(__m128i v, const Shuffles& s, int p, int ch) {
  return _mm_shuffle_epi8(v, _mm_load_si128(reinterpret_cast<const __m128i*>(s.m[p][ch])));
}

void split3Avx2(const uint8_t* px, uint8_t* const* out, uint32_t width) {
  uint32_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8_t* p = px + 3 * size_t{x};
    const __m128i part[3] = {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16)),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 32))};
    for (int ch = 0; ch < 3; ++ch) {
      const __m128i v = _mm_or_si128(
          _mm_or_si128(shuffle(part[0], kGather, 0, ch), shuffle(part[1], kGather, 1, ch)),
          shuffle(part[2], kGather, 2, ch));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out[2 - ch] + x), v);
    }
  }
  uint8_t* const rest[3] = {out[0] + x, out[1] + x, out[2] + x};
  split3Scalar(px + 3 * size_t{x}, rest, width - x);
}

inline __m256i shuffle2(__m256i v, const Shuffles& s, int p, int ch) {
  return _mm256_shuffle_epi8(
      v, _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(s.m[p][ch]))));
}

void merge3Avx2(const uint8_t* const* in, uint8_t* dst, uint32_t width) {
  uint32_t x = 0;
  // 32 pixels: the low lanes give parts 0-2 of the first 16, the high lanes
  // the same parts of the next 16.
  for (; x + 32 <= width; x += 32) {
    const __m256i channel[3] = {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in[2] + x)),
                                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in[1] + x)),
                                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in[0] + x))};
    __m256i part[3];
    for (int p = 0; p < 3; ++p)
      part[p] = _mm256_or_si256(
          _mm256_or_si256(shuffle2(channel[0], kSpread, p, 0), shuffle2(channel[1], kSpread, p, 1)),
          shuffle2(channel[2], kSpread, p, 2));
    auto* q = reinterpret_cast<__m256i*>(dst + 3 * size_t{x});
    _mm256_storeu_si256(q, _mm256_permute2x128_si256(part[0], part[1], 0x20));
    _mm256_storeu_si256(q + 1, _mm256_permute2x128_si256(part[2], part[0], 0x30));
    _mm256_storeu_si256(q + 2, _mm256_permute2x128_si256(part[1], part[2], 0x31));
  }
  for (; x + 16 <= width; x += 16) {
    // Channel ch of the pixels (0 blue, 1 green, 2 red).
    const __m128i channel[3] = {_mm_loadu_si128(reinterpret_cast<const __m128i*>(in[2] + x)),
                                _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[1] + x)),
                                _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[0] + x))};
    uint8_t* q = dst + 3 * size_t{x};
    for (int p = 0; p < 3; ++p) {
      const __m128i v = _mm_or_si128(
          _mm_or_si128(shuffle(channel[0], kSpread, p, 0), shuffle(channel[1], kSpread, p, 1)),
          shuffle(channel[2], kSpread, p, 2));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(q + 16 * p), v);
    }
  }
  const uint8_t* const rest[3] = {in[0] + x, in[1] + x, in[2] + x};
  merge3Scalar(rest, dst + 3 * size_t{x}, width - x);
}

constexpr ChannelRowKernels kAvx2{&split3Avx2, &merge3Avx2};

}  // namespace

const ChannelRowKernels* avx2ChannelRowKernels() {
  return &kAvx2;
}

}  // namespace nadiro::channels
#else
namespace nadiro::channels {
const ChannelRowKernels* avx2ChannelRowKernels() {
  return nullptr;
}
}  // namespace nadiro::channels
#endif
