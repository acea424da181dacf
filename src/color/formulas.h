// The colour-model formulas: the double-precision cores that take RGB to each
// model and back, the byte scaling of every component, the integer CMY/CMYK
// rules and the CMYK form with fixed under-colour removal.
//
// Every byte that leaves this file comes from a truncated double, so each
// formula is written in exactly the order of operations it is defined with:
// a*b + c*d - e*f is ((a*b + c*d) - e*f); reordering a sum can move a result
// across an integer boundary. The library is built without contraction into
// fused multiply-adds and without reassociation (see CMakeLists.txt).
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace nadiro::color {

// A colour of a three-component model as doubles, in the model's component
// order (R, G, B; H, S, V; ...).
struct Color3 {
  double a = 0.0;
  double b = 0.0;
  double c = 0.0;
};

// Core CMYK, each ink in 0..1.
struct Cmyk {
  double c = 0.0;
  double m = 0.0;
  double y = 0.0;
  double k = 0.0;
};

// ---------------------------------------------------------------------------
// Byte scaling
// ---------------------------------------------------------------------------

// byte / 255, then the model's own affine map, for every possible byte. The
// tables hold exactly the doubles the expressions give, so a lookup and the
// expression are interchangeable.
template <typename F>
constexpr std::array<double, 256> byteTable(F f) {
  std::array<double, 256> t{};
  for (int v = 0; v < 256; ++v) t[static_cast<size_t>(v)] = f(static_cast<double>(v) / 255.0);
  return t;
}

inline constexpr auto kUnit = byteTable([](double u) { return u; });
inline constexpr auto kHue = byteTable([](double u) { return u * 360.0; });
inline constexpr auto kYiqI = byteTable([](double u) { return u * 1.1914 - 0.5957; });
inline constexpr auto kYiqQ = byteTable([](double u) { return u * 1.0452 - 0.5226; });
inline constexpr auto kYuvU = byteTable([](double u) { return u * 0.872 - 0.436; });
inline constexpr auto kYuvV = byteTable([](double u) { return u * 1.23 - 0.615; });
inline constexpr auto kXyzX = byteTable([](double u) { return u * 0.9807; });
inline constexpr auto kXyzZ = byteTable([](double u) { return u * 1.18232; });
inline constexpr auto kLabB = byteTable([](double u) { return u * 1.389; });

// A scaled value to a byte: clamped to 0..255, then truncated toward zero.
// A value that is not a number lands on 0.
inline uint8_t toByte(double scaled) {
  if (!(scaled > 0.0)) return 0;
  if (scaled >= 255.0) return 255;
  return static_cast<uint8_t>(static_cast<int>(scaled));
}

inline double clamp01(double v) {
  return v < 0.0 ? 0.0 : (v > 1.0 ? 1.0 : v);
}

inline double max3(double x, double y, double z) {
  const double m = x > y ? x : y;
  return m > z ? m : z;
}
inline double min3(double x, double y, double z) {
  const double m = x < y ? x : y;
  return m < z ? m : z;
}

// ---------------------------------------------------------------------------
// Cores: RGB (each 0..1) to a model and back
// ---------------------------------------------------------------------------

// Hue in degrees 0..360 (-1 for black), saturation and value 0..1.
inline Color3 rgbToHsv(Color3 rgb) {
  const double r = rgb.a, g = rgb.b, b = rgb.c;
  const double mx = max3(r, g, b);
  const double mn = min3(r, g, b);
  Color3 out;
  out.c = mx;
  if (mx == 0.0) {
    out.b = 0.0;
    out.a = -1.0;
    return out;
  }
  const double s = (mx - mn) / mx;
  const double d = mx - mn;
  double h = 0.0;
  if (s == 0.0)
    h = 0.0;
  else if (r == mx)
    h = (g - b) / d;
  else if (g == mx)
    h = 2.0 + (b - r) / d;
  else if (b == mx)
    h = 4.0 + (r - g) / d;
  h = h * 60.0;
  if (h < 0.0) h += 360.0;
  out.a = h;
  out.b = s;
  return out;
}

// Writes the colour of a hue sextant into rgb and clamps it. A negative hue
// falls into no sextant: rgb keeps what it held (then is clamped).
inline void hsvToRgb(Color3 hsv, Color3& rgb) {
  const double s = hsv.b, v = hsv.c;
  double h = hsv.a / 60.0;
  if (h == 6.0) h = 0.0;
  const double fl = std::floor(h);
  const double f = h - fl;
  const double p = v * (1.0 - s);
  const double q = v * (1.0 - s * f);
  const double t = v * (1.0 - s * (1.0 - f));
  // floor of a hue below 360 degrees is 0..5; anything else writes nothing.
  const int i = fl >= 0.0 && fl < 6.0 ? static_cast<int>(fl) : -1;
  switch (i) {
    case 0:
      rgb = {v, t, p};
      break;
    case 1:
      rgb = {q, v, p};
      break;
    case 2:
      rgb = {p, v, t};
      break;
    case 3:
      rgb = {p, q, v};
      break;
    case 4:
      rgb = {t, p, v};
      break;
    case 5:
      rgb = {v, p, q};
      break;
    default:
      break;
  }
  rgb = {clamp01(rgb.a), clamp01(rgb.b), clamp01(rgb.c)};
}

// The double-cone hue/saturation/lightness model: third component
// (max + min) / 2. Outside 0 < L < 1 the saturation formula is skipped and
// the saturation stays 0 (only reachable from unclamped chained inputs).
inline Color3 rgbToHsi(Color3 rgb) {
  const double r = rgb.a, g = rgb.b, b = rgb.c;
  const double mx = max3(r, g, b);
  const double mn = min3(r, g, b);
  Color3 out;
  const double l = (mx + mn) / 2.0;
  out.c = l;
  out.a = 0.0;
  out.b = 0.0;
  if (0.0 < l && l < 1.0) out.b = (mx - mn) / (l < 0.5 ? 2.0 * l : 2.0 - 2.0 * l);
  if (mx - mn == 0.0) {
    out.b = 0.0;
    return out;
  }
  const double d = mx - mn;
  double h = 0.0;
  // Ties at the top: red+green uses the green rule, green+blue the blue rule,
  // blue+red the red rule. At most one of the three tests holds.
  if (r == mx && r != g) h = (g - b) / d;
  if (g == mx && g != b) h = 2.0 + (b - r) / d;
  if (b == mx && b != r) h = 4.0 + (r - g) / d;
  h = h * 60.0;
  if (h < 0.0) h += 360.0;
  out.a = h;
  return out;
}

inline Color3 hsiToRgb(Color3 hsi) {
  const double h = hsi.a, s = hsi.b, l = hsi.c;
  double r, g, b;
  if (h < 120.0) {
    r = (120.0 - h) / 60.0;
    g = h / 60.0;
    b = 0.0;
  } else if (h < 240.0) {
    r = 0.0;
    g = (240.0 - h) / 60.0;
    b = (h - 120.0) / 60.0;
  } else {
    r = (h - 240.0) / 60.0;
    g = 0.0;
    b = (360.0 - h) / 60.0;
  }
  if (r > 1.0) r = 1.0;
  if (g > 1.0) g = 1.0;
  if (b > 1.0) b = 1.0;
  r = 2.0 * s * r + (1.0 - s);
  g = 2.0 * s * g + (1.0 - s);
  b = 2.0 * s * b + (1.0 - s);
  if (l < 0.5) return {l * r, l * g, l * b};
  return {(1.0 - l) * r + 2.0 * l - 1.0, (1.0 - l) * g + 2.0 * l - 1.0,
          (1.0 - l) * b + 2.0 * l - 1.0};
}

inline Color3 rgbToYiq(Color3 rgb) {
  const double r = rgb.a, g = rgb.b, b = rgb.c;
  return {0.299 * r + 0.587 * g + 0.114 * b, 0.595716 * r - 0.274453 * g - 0.321263 * b,
          0.211456 * r - 0.522591 * g + 0.311135 * b};
}

inline Color3 yiqToRgb(Color3 yiq) {
  const double y = yiq.a, i = yiq.b, q = yiq.c;
  return {y + 0.9563 * i + 0.621 * q, y - 0.2721 * i - 0.6474 * q, y - 1.107 * i + 1.7046 * q};
}

inline Color3 rgbToYuv(Color3 rgb) {
  const double r = rgb.a, g = rgb.b, b = rgb.c;
  return {0.299 * r + 0.587 * g + 0.114 * b, -0.14713 * r - 0.28886 * g + 0.436 * b,
          0.615 * r - 0.51499 * g - 0.10001 * b};
}

inline Color3 yuvToRgb(Color3 yuv) {
  const double y = yuv.a, u = yuv.b, v = yuv.c;
  return {y + 1.13983 * v, y - 0.39465 * u - 0.5806 * v, y + 2.03211 * u};
}

inline Color3 rgbToXyz(Color3 rgb) {
  const double r = rgb.a, g = rgb.b, b = rgb.c;
  return {0.6068909 * r + 0.1735011 * g + 0.200348 * b,
          0.2989164 * r + 0.586599 * g + 0.1144845 * b, 0.0660957 * g + 1.1162243 * b};
}

inline Color3 xyzToRgb(Color3 xyz) {
  const double x = xyz.a, y = xyz.b, z = xyz.c;
  return {clamp01(1.9099961 * x - 0.5324542 * y - 0.2882091 * z),
          clamp01(-0.9846663 * x + 1.999171 * y - 0.0283082 * z),
          clamp01(0.0583056 * x - 0.1183781 * y + 0.8975535 * z)};
}

inline double labF(double t) {
  return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0;
}

// L, a and b each scaled to about 0..1. The LAB model has its own X and Z
// weights (0.607/0.174/0.2 over 0.981, 0.066/0.116 over 0.182), distinct from
// the XYZ model's.
inline Color3 rgbToLab(Color3 rgb) {
  const double r = rgb.a, g = rgb.b, b = rgb.c;
  const double yl = 0.299 * r + 0.587 * g + 0.114 * b;
  const double l = (yl > 0.008856 ? 116.0 * std::cbrt(yl) - 16.0 : 903.3 * yl) / 100.0;
  const double fy = labF(yl);
  const double a =
      ((labF((0.607 * r + 0.174 * g + 0.2 * b) / 0.981) - fy) * 500.0 + 137.71922282212) /
      233.86238849999802;
  const double bb =
      ((fy - labF((0.066 * g + 0.116 * b) / 0.182)) * 200.0 + 75.141546466834) / 124.610613285093;
  return {l, a, bb};
}

inline Color3 labToRgb(Color3 lab) {
  const double fy = std::cbrt(0.01) * (100.0 * lab.a + 16.0) / 25.0;
  const double a = 233.86238849999802 * lab.b - 137.71922282212;
  const double b = 124.610613285093 * lab.c - 75.141546466834;
  const double tx = fy + a / 500.0;
  const double tz = fy - b / 200.0;
  const double x = 0.981 * (tx * tx * tx);
  const double y = fy * fy * fy;
  const double z = 0.182 * (tz * tz * tz);
  return {clamp01(1.7467 * x - 0.2014 * y - 2.8135 * z),
          clamp01(-1.0002 * x + 2.0305 * y - 0.271 * z),
          clamp01(0.5691 * x - 1.1553 * y + 8.7749 * z)};
}

// CMY and CMYK in doubles, as used inside chains. Nothing is clamped.
inline Color3 rgbToCmy(Color3 rgb) {
  return {1.0 - rgb.a, 1.0 - rgb.b, 1.0 - rgb.c};
}
inline Color3 cmyToRgb(Color3 cmy) {
  return {1.0 - cmy.a, 1.0 - cmy.b, 1.0 - cmy.c};
}
inline Cmyk rgbToCmyk(Color3 rgb) {
  const double c = 1.0 - rgb.a, m = 1.0 - rgb.b, y = 1.0 - rgb.c;
  const double k = min3(c, m, y);
  return {c - k, m - k, y - k, k};
}
inline Color3 cmykToRgb(Cmyk q) {
  return {1.0 - (q.c + q.k), 1.0 - (q.m + q.k), 1.0 - (q.y + q.k)};
}

// ---------------------------------------------------------------------------
// Integer CMY and CMYK: bytes only, every sum wrapping modulo 256
// ---------------------------------------------------------------------------

inline uint8_t complement(uint8_t v) {
  return static_cast<uint8_t>(255 - v);
}
inline uint8_t min3(uint8_t x, uint8_t y, uint8_t z) {
  const uint8_t m = x < y ? x : y;
  return m < z ? m : z;
}
inline uint8_t wrapSum(uint8_t x, uint8_t y) {
  return static_cast<uint8_t>((x + y) & 0xFF);
}
inline uint8_t diff(uint8_t x, uint8_t y) {
  return static_cast<uint8_t>(x - y);
}

// ---------------------------------------------------------------------------
// CMYK with fixed under-colour removal (the image conversion's second CMYK
// form). Bytes in, bytes out; stored inks are complements (full ink = 0).
// ---------------------------------------------------------------------------

// R, G, B bytes to stored C, M, Y, K bytes (byte order 0..3).
inline void rgbToUcrCmyk(const uint8_t* rgb, uint8_t* cmyk) {
  const double c = 1.0 - kUnit[rgb[0]];
  const double m = 1.0 - kUnit[rgb[1]];
  const double y = 1.0 - kUnit[rgb[2]];
  const double k = min3(c, m, y);
  const double u = 0.1 * k;
  const double black = k < 0.3 ? 0.0 : (k - 0.3) * 0.9 / 0.7;
  cmyk[0] = static_cast<uint8_t>((1.0 - clamp01(c - u)) * 255.0);
  cmyk[1] = static_cast<uint8_t>((1.0 - clamp01(m - u)) * 255.0);
  cmyk[2] = static_cast<uint8_t>((1.0 - clamp01(y - u)) * 255.0);
  cmyk[3] = static_cast<uint8_t>((1.0 - clamp01(black)) * 255.0);
}

}  // namespace nadiro::color
