// The row kernels of the vector levels: the conversions of formulas.h and
// the byte scalings of models.h evaluated on N pixels at once, one pixel per
// lane of a double vector. Every lane performs the scalar path's IEEE
// operations in the scalar path's order (a branch becomes a lane select of
// values computed by the very same expressions), so each byte equals the
// scalar kernel's; the equivalence tests run all 2^24 inputs through every
// level.
//
// Included once by each instruction-set file (convert_rows_<level>.cpp) and
// compiled there with that level's flags. Everything here has internal
// linkage, so no copy built for a wider level can stand in for another.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "color/convert_rows.h"

#if defined(__AVX2__) || defined(__AVX512F__)
#include <immintrin.h>
#endif

namespace nadiro::color {
namespace {

// The helpers below take and return whole vectors: inlined, they stay in
// registers.
#define NADIRO_LANES_INLINE [[gnu::always_inline]] inline

typedef double Double2 __attribute__((vector_size(16)));
typedef double Double4 __attribute__((vector_size(32)));
typedef double Double8 __attribute__((vector_size(64)));
typedef int32_t Int2 __attribute__((vector_size(8)));
typedef int32_t Int4 __attribute__((vector_size(16)));
typedef int32_t Int8 __attribute__((vector_size(32)));
typedef int64_t Long2 __attribute__((vector_size(16)));
typedef int64_t Long4 __attribute__((vector_size(32)));
typedef int64_t Long8 __attribute__((vector_size(64)));

template <int N>
struct VectorTypes;
template <>
struct VectorTypes<2> {
  using D = Double2;
  using I = Int2;
  using W = Long2;
};
template <>
struct VectorTypes<4> {
  using D = Double4;
  using I = Int4;
  using W = Long4;
};
template <>
struct VectorTypes<8> {
  using D = Double8;
  using I = Int8;
  using W = Long8;
};

template <int N>
struct Lanes {
  using D = typename VectorTypes<N>::D;
  using I = typename VectorTypes<N>::I;
  using W = typename VectorTypes<N>::W;  // 64-bit integers: a double's bits, a comparison

  NADIRO_LANES_INLINE static D splat(double v) {
    D d;
    for (int k = 0; k < N; ++k) d[k] = v;
    return d;
  }
  NADIRO_LANES_INLINE static D max3(D x, D y, D z) {
    const D m = x > y ? x : y;
    return m > z ? m : z;
  }
  NADIRO_LANES_INLINE static D min3(D x, D y, D z) {
    const D m = x < y ? x : y;
    return m < z ? m : z;
  }
  // toByte: not above 0 (or not a number) gives 0, 255 and above 255, else
  // truncation toward zero.
  NADIRO_LANES_INLINE static I toByte(D scaled) {
    const D zero = splat(0.0), top = splat(255.0);
    D v = scaled > zero ? scaled : zero;
    v = v >= top ? top : v;
    return __builtin_convertvector(v, I);
  }
};

// How a loaded byte becomes a double: through kUnit, through kHue, or as
// it is.
enum class Scale { Unit, Hue, Byte };

NADIRO_LANES_INLINE const double* scaleTable(const LaneTables& t, Scale s) {
  return s == Scale::Unit ? t.unit : (s == Scale::Hue ? t.hue : t.byte);
}

// Components of one pixel record in memory: a model-order record starts
// with the first component, an image's reversed record with the last.
template <Order kOrder>
constexpr size_t slot(size_t component, size_t bytes) {
  return kOrder == Order::Model ? component : bytes - 1 - component;
}

// Reads N three-byte records as doubles through per-component tables of 256
// entries (the byte scalings of the model's in()). The linear members read
// this way at every level: measured, their few divisions leave the table
// loads cheaper than the whole-vector load's division by 255.
template <int N, Order kOrder>
NADIRO_LANES_INLINE void loadThroughTables(const uint8_t* src, const LaneTables& t, Scale s0,
                                           Scale s1, Scale s2, typename Lanes<N>::D& a,
                                           typename Lanes<N>::D& b, typename Lanes<N>::D& c) {
  const double* t0 = scaleTable(t, s0);
  const double* t1 = scaleTable(t, s1);
  const double* t2 = scaleTable(t, s2);
  for (int k = 0; k < N; ++k, src += 3) {
    a[k] = t0[src[slot<kOrder>(0, 3)]];
    b[k] = t1[src[slot<kOrder>(1, 3)]];
    c[k] = t2[src[slot<kOrder>(2, 3)]];
  }
}

#if defined(__AVX2__)
// Four records with whole-vector moves: one 16-byte load (the row loop keeps
// 8 bytes of input beyond every block), each component's four bytes spread
// to 32-bit lanes by one byte shuffle and scaled in the vector; on the way
// out the three components' low bytes are shuffled into place and the 12
// bytes stored in two moves.
template <Order kOrder>
NADIRO_LANES_INLINE void loadTriples4(const uint8_t* src, Scale s0, Scale s1, Scale s2, Double4& a,
                                      Double4& b, Double4& c) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
  const auto component = [&](size_t j, Scale scale) {
    const auto s = static_cast<char>(slot<kOrder>(j, 3));
    const __m128i pick =
        _mm_setr_epi8(s, -1, -1, -1, static_cast<char>(s + 3), -1, -1, -1, static_cast<char>(s + 6),
                      -1, -1, -1, static_cast<char>(s + 9), -1, -1, -1);
    const auto value = reinterpret_cast<Double4>(_mm256_cvtepi32_pd(_mm_shuffle_epi8(bytes, pick)));
    if (scale == Scale::Byte) return value;
    // The same doubles as kUnit and kHue (see loadTriples8).
    const Double4 unit = value / 255.0;
    return scale == Scale::Hue ? unit * 360.0 : unit;
  };
  a = component(0, s0);
  b = component(1, s1);
  c = component(2, s2);
}

template <Order kOrder>
NADIRO_LANES_INLINE void storeTriples4(uint8_t* dst, Int4 a, Int4 b, Int4 c) {
  const Int4 parts[3] = {a, b, c};
  __m128i out = _mm_setzero_si128();
  for (size_t j = 0; j < 3; ++j) {
    // The component stored at byte j of each record: lane k's low byte to
    // byte 3k + j.
    char at[16];
    for (int o = 0; o < 16; ++o) at[o] = -1;
    for (int k = 0; k < 4; ++k) at[3 * static_cast<size_t>(k) + j] = static_cast<char>(4 * k);
    const __m128i pick = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    out = _mm_or_si128(
        out, _mm_shuffle_epi8(reinterpret_cast<__m128i>(parts[slot<kOrder>(j, 3)]), pick));
  }
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), out);
  const auto tail = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(out, 8)));
  for (int k = 0; k < 4; ++k) dst[8 + k] = static_cast<uint8_t>(tail >> (8 * k));
}
#endif

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VL__)
// Eight records with whole-vector moves: the 24 bytes widened to 32-bit
// lanes, each component picked out by one permutation and scaled in the
// vector; on the way out the reverse. The load reads 32 bytes (the row loop
// keeps 8 bytes of input beyond every block it hands in).
template <Order kOrder>
NADIRO_LANES_INLINE void loadTriples8(const uint8_t* src, Scale s0, Scale s1, Scale s2, Double8& a,
                                      Double8& b, Double8& c) {
  const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
  const __m512i lo = _mm512_cvtepu8_epi32(_mm256_castsi256_si128(bytes));
  const __m512i hi = _mm512_cvtepu8_epi32(_mm256_extracti128_si256(bytes, 1));
  const auto component = [&](size_t j, Scale scale) {
    const int s = static_cast<int>(slot<kOrder>(j, 3));
    const __m512i idx = _mm512_setr_epi32(s, s + 3, s + 6, s + 9, s + 12, s + 15, s + 18, s + 21, 0,
                                          0, 0, 0, 0, 0, 0, 0);
    const __m512d value =
        _mm512_cvtepi32_pd(_mm512_castsi512_si256(_mm512_permutex2var_epi32(lo, idx, hi)));
    if (scale == Scale::Byte) return reinterpret_cast<Double8>(value);
    // kUnit and kHue are byteTable(f): f(byte / 255.0) for every byte, with
    // f the identity or u * 360.0. Dividing here is cheaper than a gather and
    // gives the same doubles.
    const Double8 unit = reinterpret_cast<Double8>(_mm512_div_pd(value, _mm512_set1_pd(255.0)));
    return scale == Scale::Hue ? unit * 360.0 : unit;
  };
  a = component(0, s0);
  b = component(1, s1);
  c = component(2, s2);
}

template <Order kOrder>
NADIRO_LANES_INLINE void storeTriples8(uint8_t* dst, Int8 a, Int8 b, Int8 c) {
  const Int8 parts[3] = {a, b, c};
  // m[j]: the component stored at byte j of each record.
  const __m256i m0 = reinterpret_cast<__m256i>(parts[slot<kOrder>(0, 3)]);
  const __m256i m1 = reinterpret_cast<__m256i>(parts[slot<kOrder>(1, 3)]);
  const __m256i m2 = reinterpret_cast<__m256i>(parts[slot<kOrder>(2, 3)]);
  const __m512i p = _mm512_inserti64x4(_mm512_zextsi256_si512(m0), m1, 1);
  const __m512i q = _mm512_zextsi256_si512(m2);
  // Output byte o is record o / 3, position o % 3: p lane k, p lane 8 + k
  // or q lane k (index 16 + k).
  const __m512i first = _mm512_setr_epi32(0, 8, 16, 1, 9, 17, 2, 10, 18, 3, 11, 19, 4, 12, 20, 5);
  const __m512i second = _mm512_setr_epi32(13, 21, 6, 14, 22, 7, 15, 23, 0, 0, 0, 0, 0, 0, 0, 0);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst),
                   _mm512_cvtepi32_epi8(_mm512_permutex2var_epi32(p, first, q)));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 16),
                   _mm512_cvtepi32_epi8(_mm512_permutex2var_epi32(p, second, q)));
}
#endif

// Reads N three-byte records as doubles scaled by s0, s1, s2: at the avx512
// level with whole-vector moves, at the avx2 level so when every scaling is
// Byte (other scalings go through the tables there: cheaper than dividing in
// the vector), else through the tables.
template <int N, Order kOrder>
NADIRO_LANES_INLINE void loadTriples(const uint8_t* src, const LaneTables& t, Scale s0, Scale s1,
                                     Scale s2, typename Lanes<N>::D& a, typename Lanes<N>::D& b,
                                     typename Lanes<N>::D& c) {
#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VL__)
  if constexpr (N == 8) return loadTriples8<kOrder>(src, s0, s1, s2, a, b, c);
#endif
#if defined(__AVX2__)
  if constexpr (N == 4)
    if (s0 == Scale::Byte && s1 == Scale::Byte && s2 == Scale::Byte)
      return loadTriples4<kOrder>(src, s0, s1, s2, a, b, c);
#endif
  loadThroughTables<N, kOrder>(src, t, s0, s1, s2, a, b, c);
}

template <int N, Order kOrder>
NADIRO_LANES_INLINE void storeTriples(uint8_t* dst, typename Lanes<N>::I a, typename Lanes<N>::I b,
                                      typename Lanes<N>::I c) {
#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VL__)
  if constexpr (N == 8) return storeTriples8<kOrder>(dst, a, b, c);
#endif
#if defined(__AVX2__)
  if constexpr (N == 4) return storeTriples4<kOrder>(dst, a, b, c);
#endif
  for (int k = 0; k < N; ++k, dst += 3) {
    dst[slot<kOrder>(0, 3)] = static_cast<uint8_t>(a[k]);
    dst[slot<kOrder>(1, 3)] = static_cast<uint8_t>(b[k]);
    dst[slot<kOrder>(2, 3)] = static_cast<uint8_t>(c[k]);
  }
}

// --- Members: each block<N>() converts N records of three bytes. ----------

// How a member reads its three bytes: each one's scaling, and whether through
// the tables at every level (loadThroughTables).
struct Reading {
  Scale s0, s1, s2;
  bool tables;
};

// A member whose bytes are the three values of Member::values<N> truncated
// (toByte).
template <class Member, Reading kIn>
struct Truncated {
  template <int N, Order kOrder>
  NADIRO_LANES_INLINE static void block(const uint8_t* src, uint8_t* dst, const LaneTables& t) {
    using L = Lanes<N>;
    typename L::D a, b, c;
    if constexpr (kIn.tables)
      loadThroughTables<N, kOrder>(src, t, kIn.s0, kIn.s1, kIn.s2, a, b, c);
    else
      loadTriples<N, kOrder>(src, t, kIn.s0, kIn.s1, kIn.s2, a, b, c);
    const auto [x, y, z] = Member::template values<N>(a, b, c);
    storeTriples<N, kOrder>(dst, L::toByte(x), L::toByte(y), L::toByte(z));
  }
};

inline constexpr Reading kUnits{Scale::Unit, Scale::Unit, Scale::Unit, false};
inline constexpr Reading kUnitsFromTables{Scale::Unit, Scale::Unit, Scale::Unit, true};

// RGB to HSV (rgbToHsv, HSV::out).
struct RgbToHsv : Truncated<RgbToHsv, kUnits> {
  template <int N, class D = typename Lanes<N>::D>
  NADIRO_LANES_INLINE static std::array<D, 3> values(D r, D g, D b) {
    using L = Lanes<N>;
    const D zero = L::splat(0.0);
    const D mx = L::max3(r, g, b);
    const D mn = L::min3(r, g, b);
    const D s = (mx - mn) / mx;
    const D d = mx - mn;
    // The sector's numerator; the red sector adds no offset.
    const auto red = r == mx, green = g == mx;
    const D num = red ? g - b : (green ? b - r : r - g);
    const D q = num / d;
    D h = red ? q : (green ? 2.0 + q : 4.0 + q);
    h = s == zero ? zero : h;
    h = h * 60.0;
    h = h < zero ? h + 360.0 : h;
    const auto black = mx == zero;
    h = black ? L::splat(-1.0) : h;
    const D sat = black ? zero : s;
    return {h * 255.0 / 360.0, sat * 255.0, mx * 255.0};
  }
};

// RGB to the double-cone model (rgbToHsi, HSI::out).
struct RgbToHsi : Truncated<RgbToHsi, kUnits> {
  template <int N, class D = typename Lanes<N>::D>
  NADIRO_LANES_INLINE static std::array<D, 3> values(D r, D g, D b) {
    using L = Lanes<N>;
    const D zero = L::splat(0.0), one = L::splat(1.0), half = L::splat(0.5);
    const D mx = L::max3(r, g, b);
    const D mn = L::min3(r, g, b);
    const D l = (mx + mn) / 2.0;
    const D span = l < half ? 2.0 * l : 2.0 - 2.0 * l;
    const D d = mx - mn;
    D s = (mx - mn) / span;
    s = ((zero < l) & (l < one)) ? s : zero;
    const auto flat = d == zero;
    s = flat ? zero : s;
    const auto red = (r == mx) & (r != g), green = (g == mx) & (g != b);
    const auto blue = (b == mx) & (b != r);
    const D num = blue ? r - g : (green ? b - r : g - b);
    const D q = num / d;
    D h = blue ? 4.0 + q : (green ? 2.0 + q : (red ? q : zero));
    h = h * 60.0;
    h = h < zero ? h + 360.0 : h;
    h = flat ? zero : h;
    return {h * 255.0 / 360.0, s * 255.0, l * 255.0};
  }
};

// The double-cone model back to RGB (HSI::in, hsiToRgb, RGB::out).
struct HsiToRgb : Truncated<HsiToRgb, Reading{Scale::Hue, Scale::Unit, Scale::Unit, false}> {
  template <int N, class D = typename Lanes<N>::D>
  NADIRO_LANES_INLINE static std::array<D, 3> values(D h, D s, D l) {
    using L = Lanes<N>;
    const D zero = L::splat(0.0), one = L::splat(1.0), half = L::splat(0.5);
    const auto low = h < L::splat(120.0), mid = h < L::splat(240.0);
    D r = low ? (120.0 - h) / 60.0 : (mid ? zero : (h - 240.0) / 60.0);
    D g = low ? h / 60.0 : (mid ? (240.0 - h) / 60.0 : zero);
    D b = low ? zero : (mid ? (h - 120.0) / 60.0 : (360.0 - h) / 60.0);
    r = r > one ? one : r;
    g = g > one ? one : g;
    b = b > one ? one : b;
    r = 2.0 * s * r + (1.0 - s);
    g = 2.0 * s * g + (1.0 - s);
    b = 2.0 * s * b + (1.0 - s);
    const auto dark = l < half;
    const D lr = dark ? l * r : (1.0 - l) * r + 2.0 * l - 1.0;
    const D lg = dark ? l * g : (1.0 - l) * g + 2.0 * l - 1.0;
    const D lb = dark ? l * b : (1.0 - l) * b + 2.0 * l - 1.0;
    return {lr * 255.0, lg * 255.0, lb * 255.0};
  }
};

// RGB to YUV (rgbToYuv, YUV::out).
struct RgbToYuv : Truncated<RgbToYuv, kUnitsFromTables> {
  template <int N, class D = typename Lanes<N>::D>
  NADIRO_LANES_INLINE static std::array<D, 3> values(D r, D g, D b) {
    const D y = 0.299 * r + 0.587 * g + 0.114 * b;
    const D u = -0.14713 * r - 0.28886 * g + 0.436 * b;
    const D v = 0.615 * r - 0.51499 * g - 0.10001 * b;
    return {y * 255.0, (u + 0.436) * 255.0 / 0.872, (v + 0.615) * 255.0 / 1.23};
  }
};

// RGB to YIQ (rgbToYiq, YIQ::out).
struct RgbToYiq : Truncated<RgbToYiq, kUnitsFromTables> {
  template <int N, class D = typename Lanes<N>::D>
  NADIRO_LANES_INLINE static std::array<D, 3> values(D r, D g, D b) {
    const D y = 0.299 * r + 0.587 * g + 0.114 * b;
    const D i = 0.595716 * r - 0.274453 * g - 0.321263 * b;
    const D q = 0.211456 * r - 0.522591 * g + 0.311135 * b;
    return {y * 255.0, (i + 0.5957) * 255.0 / 1.1914, (q + 0.5226) * 255.0 / 1.0452};
  }
};

// RGB to XYZ (rgbToXyz, XYZ::out).
struct RgbToXyz : Truncated<RgbToXyz, kUnitsFromTables> {
  template <int N, class D = typename Lanes<N>::D>
  NADIRO_LANES_INLINE static std::array<D, 3> values(D r, D g, D b) {
    const D x = 0.6068909 * r + 0.1735011 * g + 0.200348 * b;
    const D y = 0.2989164 * r + 0.586599 * g + 0.1144845 * b;
    const D z = 0.0660957 * g + 1.1162243 * b;
    return {x * 255.0 / 0.9807, y * 255.0, z * 255.0 / 1.18232};
  }
};

// RGB to LAB (rgbToLab, LAB::out): a fast estimate of the three scaled
// values before truncation, with the formula itself for the pixels where
// the estimate cannot decide the byte.
//
// The estimate differs from the formula's double in three ways: the inputs
// are the bytes times folded constants (0.299 R + ...) / 255 instead of sums
// of byte / 255 values, the final divisions are multiplications by folded
// constants, and each cube root is a seed refined by one Halley step. The
// first two move a value by a few units in the last place, below 1e-12 for
// every value here (none exceeds 1000). The cube roots:
// - t is at most 1 + 2^-52 (each set of weights sums to its divisor), and
//   only t > 0.008856 > 2^-7 takes a cube root, so t lies in [2^-7, 2);
//   the seed is the cube root of the middle of t's bucket, 2^-8 of an
//   octave wide, so seed = cbrt(t) (1 + e) with |e| <= 2^-9 / 3 + 1e-6
//   <= 6.6e-4.
// - Halley's step c (c^3 + 2t) / (2c^3 + t) from c = cbrt(t) (1 + e) gives
//   cbrt(t) (1 + e'), e' = e^3 (2 + e) / (2 (1 + e)^3 + 1), so
//   |e'| <= 6.6e-4^3 * 0.668 < 1.93e-10, and cbrt(t) <= 1.
// A cube root off by 1.93e-10 moves L * 255 by at most 116 * 2.55 * 1.93e-10
// < 6e-8, a * 255 (two roots, weight 500 * 255 / 233.862) by < 2.2e-7 and
// b * 255 / 1.389 (weight 200 * 255 / (124.61 * 1.389)) by < 1.2e-7. The
// library's own cube root is within a few units in the last place, so every
// estimate is within 3e-7 of the formula's value. A value farther than
// kLabMargin = 1e-6 from every byte boundary (the integers 1..255) truncates
// to the formula's byte; the threshold comparisons are decided the same way
// (t farther than 1e-12 from 0.008856). A pixel with any value closer, about
// one in 10^5 on a photograph, goes through the scalar formula. The
// exhaustive test checks all 2^24 inputs.
//
// The formula's result for the last pixel it was asked for is kept for the
// run: a white area (L * 255 is 255 itself) asks for the same one each time.
inline constexpr double kLabThreshold = 0.008856;
inline constexpr double kLabMargin = 1e-6;

struct RgbToLab {
  template <int N>
  NADIRO_LANES_INLINE static typename Lanes<N>::D cbrtEstimate(typename Lanes<N>::D t,
                                                               const double* seeds) {
    using L = Lanes<N>;
    using W = typename L::W;
    // t's bucket: its exponent and top kCbrtSeedBits mantissa bits.
    constexpr int64_t kFirst = int64_t{1023 + kCbrtSeedLowExponent} << kCbrtSeedBits;
    const W bucket = (__builtin_bit_cast(W, t) >> (52 - kCbrtSeedBits)) - kFirst;
    typename L::D c;
    for (int k = 0; k < N; ++k) c[k] = seeds[bucket[k]];
    const typename L::D c3 = c * c * c;
    return c * (c3 + t + t) / (c3 + c3 + t);
  }

  // Lanes whose value lies within kLabMargin of a byte boundary. Adding and
  // subtracting 1.5 * 2^52 rounds to the nearest integer.
  template <int N>
  NADIRO_LANES_INLINE static typename Lanes<N>::W nearBoundary(typename Lanes<N>::D v) {
    const typename Lanes<N>::D n = (v + 0x1.8p52) - 0x1.8p52;
    const typename Lanes<N>::D d = v - n;
    return (d < kLabMargin) & (d > -kLabMargin) & (n > 0.5) & (n < 255.5);
  }

  template <int N>
  NADIRO_LANES_INLINE static typename Lanes<N>::W nearThreshold(typename Lanes<N>::D t) {
    const typename Lanes<N>::D d = t - kLabThreshold;
    return (d < 1e-12) & (d > -1e-12);
  }

  template <int N, Order kOrder>
  NADIRO_LANES_INLINE void block(const uint8_t* src, uint8_t* dst, const LaneTables& t) {
    using L = Lanes<N>;
    using D = typename L::D;
    D r, g, b;
    loadTriples<N, kOrder>(src, t, Scale::Byte, Scale::Byte, Scale::Byte, r, g, b);
    const D thr = L::splat(kLabThreshold);
    const D yl = (0.299 * r + 0.587 * g + 0.114 * b) * (1.0 / 255.0);
    const D xr = (0.607 * r + 0.174 * g + 0.2 * b) * (1.0 / (255.0 * 0.981));
    const D zr = (0.066 * g + 0.116 * b) * (1.0 / (255.0 * 0.182));
    const auto f = [&](D v, D& root) {
      root = cbrtEstimate<N>(v > thr ? v : thr, t.cbrtSeed);
      return v > thr ? root : 7.787 * v + 16.0 / 116.0;
    };
    D cy, cx, cz;
    const D fy = f(yl, cy), fx = f(xr, cx), fz = f(zr, cz);
    const D lv = (yl > thr ? 116.0 * cy - 16.0 : 903.3 * yl) * 2.55;
    const D av = ((fx - fy) * 500.0 + 137.71922282212) * (255.0 / 233.86238849999802);
    const D bv = ((fy - fz) * 200.0 + 75.141546466834) * (255.0 / (124.610613285093 * 1.389));
    const auto unsure = nearThreshold<N>(yl) | nearThreshold<N>(xr) | nearThreshold<N>(zr) |
                        nearBoundary<N>(lv) | nearBoundary<N>(av) | nearBoundary<N>(bv);
    typename L::I lb = L::toByte(lv), ab = L::toByte(av), bb = L::toByte(bv);
    for (int k = 0; k < N; ++k) {
      if (!unsure[k]) continue;
      const uint8_t* p = src + 3 * k;
      const uint8_t in[3] = {p[slot<kOrder>(0, 3)], p[slot<kOrder>(1, 3)], p[slot<kOrder>(2, 3)]};
      const uint32_t key = uint32_t{in[0]} << 16 | uint32_t{in[1]} << 8 | in[2];
      if (key != recentKey_) {
        t.exactLab(in, recent_, 1);
        recentKey_ = key;
      }
      lb[k] = recent_[0];
      ab[k] = recent_[1];
      bb[k] = recent_[2];
    }
    storeTriples<N, kOrder>(dst, lb, ab, bb);
  }

 private:
  uint32_t recentKey_ = ~0u;  // no pixel yet: keys have 24 bits
  uint8_t recent_[3] = {};
};

// A member over a run: whole blocks of N while the input holds 8 bytes
// more than the block (the widest loads read that far), then the last
// pixels through zeroed blocks of which only those pixels are written back.
template <class Member, int N, Order kOrder>
void laneRow(const uint8_t* src, uint8_t* dst, size_t count) {
  const LaneTables& t = laneTables();
  Member member;  // what a member keeps for the run
  size_t n = 0;
  for (; n + N + 3 <= count; n += N) member.template block<N, kOrder>(src + 3 * n, dst + 3 * n, t);
  while (n < count) {
    uint8_t in[3 * size_t{N} + 8] = {};
    uint8_t out[3 * size_t{N}];
    const size_t pixels = count - n < size_t{N} ? count - n : size_t{N};
    for (size_t j = 0; j < 3 * pixels; ++j) in[j] = src[3 * n + j];
    member.template block<N, kOrder>(in, out, t);
    for (size_t j = 0; j < 3 * pixels; ++j) dst[3 * n + j] = out[j];
    n += pixels;
  }
}

// RGB and CMY complement every byte (Integer<RGB, CMY>), whatever the order
// of the components: a byte loop the compiler widens to the level's vectors.
void complementRow(const uint8_t* src, uint8_t* dst, size_t count) {
  for (size_t i = 0; i < 3 * count; ++i) dst[i] = static_cast<uint8_t>(255 - src[i]);
}

template <class Member, int N>
void put(LaneKernels& k, size_t from, size_t to) {
  k.image[from][to] = &laneRow<Member, N, Order::Reversed>;
  k.buffer[from][to] = &laneRow<Member, N, Order::Model>;
}

template <int N>
LaneKernels laneKernels() {
  LaneKernels k;
  put<RgbToHsv, N>(k, NADIRO_MODEL_RGB, NADIRO_MODEL_HSV);
  put<RgbToHsi, N>(k, NADIRO_MODEL_RGB, NADIRO_MODEL_HSI);
  put<HsiToRgb, N>(k, NADIRO_MODEL_HSI, NADIRO_MODEL_RGB);
  put<RgbToYuv, N>(k, NADIRO_MODEL_RGB, NADIRO_MODEL_YUV);
  put<RgbToYiq, N>(k, NADIRO_MODEL_RGB, NADIRO_MODEL_YIQ);
  put<RgbToXyz, N>(k, NADIRO_MODEL_RGB, NADIRO_MODEL_XYZ);
  put<RgbToLab, N>(k, NADIRO_MODEL_RGB, NADIRO_MODEL_LAB);
  for (auto [from, to] : {std::pair{NADIRO_MODEL_RGB, NADIRO_MODEL_CMY},
                          std::pair{NADIRO_MODEL_CMY, NADIRO_MODEL_RGB}}) {
    k.image[from][to] = &complementRow;
    k.buffer[from][to] = &complementRow;
  }
  return k;
}

#undef NADIRO_LANES_INLINE

}  // namespace
}  // namespace nadiro::color
