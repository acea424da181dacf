#include "adjust/reference.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/images.h"

namespace nadiro::test::ref {
namespace {

int u32(const std::vector<uint8_t>& b, size_t at) {
  uint32_t v;
  std::memcpy(&v, b.data() + at, 4);
  return static_cast<int>(v);
}
int bitsOf(const std::vector<uint8_t>& b) { return b[14] | b[15] << 8; }

// Byte out of a double: clamp to 0..255, truncate.
int toByte(double v) {
  if (!(v > 0)) return 0;
  if (v >= 255) return 255;
  return static_cast<int>(v);
}

// Calls f(pixel) for every pixel of a 24-bit image, top row first.
template <class F>
void eachPixel(std::vector<uint8_t>& img, F f) {
  const int w = u32(img, 4), h = u32(img, 8);
  const int colours = u32(img, 32);
  const size_t stride = (static_cast<size_t>(w) * 24 + 31) / 32 * 4;
  const size_t offset = 40 + static_cast<size_t>(colours) * 4;
  for (int x = 0; x < w; ++x)
    for (int y = 0; y < h; ++y) f(&img[offset + static_cast<size_t>(h - 1 - y) * stride + x * 3]);
}

}  // namespace

Hsi rgbToHsi(Rgb c) {
  const double r = c.r / 255.0, g = c.g / 255.0, b = c.b / 255.0;
  const double mx = std::max({r, g, b}), mn = std::min({r, g, b});
  const double l = (mx + mn) / 2;
  double h = 0, s = 0;
  if (l > 0 && l < 1) s = (mx - mn) / (l < 0.5 ? 2 * l : 2 - 2 * l);
  if (mx - mn == 0) {
    s = 0;
  } else {
    const double d = mx - mn;
    if (r == mx && r != g) h = (g - b) / d;
    if (g == mx && g != b) h = 2 + (b - r) / d;
    if (b == mx && b != r) h = 4 + (r - g) / d;
    h *= 60;
    if (h < 0) h += 360;
  }
  return {toByte(h * 255 / 360), toByte(s * 255), toByte(l * 255)};
}

Rgb hsiToRgb(Hsi c) {
  const double h = c.h / 255.0 * 360, s = c.s / 255.0, l = c.i / 255.0;
  double w[3];
  if (h < 120) {
    w[0] = (120 - h) / 60, w[1] = h / 60, w[2] = 0;
  } else if (h < 240) {
    w[0] = 0, w[1] = (240 - h) / 60, w[2] = (h - 120) / 60;
  } else {
    w[0] = (h - 240) / 60, w[1] = 0, w[2] = (360 - h) / 60;
  }
  int out[3];
  for (int k = 0; k < 3; ++k) {
    const double x = 2 * s * std::min(w[k], 1.0) + (1 - s);
    const double v = l < 0.5 ? l * x : (1 - l) * x + 2 * l - 1;
    out[k] = toByte(v * 255);
  }
  return {out[0], out[1], out[2]};
}

int brightnessContrastEntry(int i, int brightness, int contrast) {
  const int bp = brightness * 128 / 100, cp = contrast * 128 / 100;
  const int x = std::clamp(i + bp, 0, 255);
  const double v = std::clamp(x * (contrast + 100) / 100.0 - cp, 0.0, 255.0);
  return static_cast<int>(v);
}

int gamma(int v, unsigned g) { return toByte(std::pow(double(v), std::log(double(g)) / std::log(100.0))); }

std::vector<uint8_t> brightnessContrast(const std::vector<uint8_t>& src, int brightness,
                                        int contrast) {
  const int bits = bitsOf(src), w = u32(src, 4), h = u32(src, 8);
  int colours = u32(src, 32);
  if (colours == 0) colours = bits == 4 ? 16 : bits == 8 ? 256 : 0;
  const size_t offset = 40 + size_t(colours) * 4;
  const size_t stride = (size_t(w) * bits + 31) / 32 * 4;
  const size_t size = u32(src, 20) ? size_t(u32(src, 20)) : stride * h;
  std::vector<uint8_t> out(offset + size, 0);
  std::copy(src.begin(), src.begin() + long(offset), out.begin());
  auto entry = [&](int v) { return uint8_t(brightnessContrastEntry(v, brightness, contrast)); };
  if (bits == 4 || bits == 8) {
    for (int e = 0; e < colours; ++e)
      for (int k = 0; k < 3; ++k) out[40 + e * 4 + k] = entry(src[40 + e * 4 + k]);
    std::copy(src.begin() + long(offset), src.begin() + long(offset + size), out.begin() + long(offset));
  } else if (bits == 24) {
    for (int r = 0; r < h; ++r)
      for (int i = 0; i < w * 3; ++i) out[offset + r * stride + i] = entry(src[offset + r * stride + i]);
  }
  return out;
}

std::vector<uint8_t> hueSaturation(const std::vector<uint8_t>& src, int hueBytes, int saturation,
                                   int intensity, unsigned startByte, unsigned endByte) {
  std::vector<uint8_t> out = src;
  eachPixel(out, [&](uint8_t* p) {
    const Hsi c = rgbToHsi({p[2], p[1], p[0]});
    const unsigned h = unsigned(c.h);
    const bool in = startByte <= endByte ? startByte <= h && h <= endByte : h <= endByte || h >= startByte;
    if (!in) return;
    int n = c.h + hueBytes;
    if (n < 0) n = (n - 1) & 255;
    else if (n > 255) n = (n + 1) & 255;
    const Rgb o = hsiToRgb({n, std::clamp(c.s + saturation, 0, 255), std::clamp(c.i + intensity, 0, 255)});
    p[0] = uint8_t(o.b), p[1] = uint8_t(o.g), p[2] = uint8_t(o.r);
  });
  return out;
}

std::vector<uint8_t> cmykLevels(const std::vector<uint8_t>& src, double fc, double fm, double fy,
                                double fk) {
  std::vector<uint8_t> out = src;
  eachPixel(out, [&](uint8_t* p) {
    const int c = 255 - p[2], m = 255 - p[1], y = 255 - p[0];
    const int k = std::min({c, m, y});
    auto scale = [](int v, double f) {
      const int t = static_cast<int>(v * f);
      return t < 0 ? 0 : t >= 256 ? 255 : t;
    };
    const int sc = scale(c - k, fc), sm = scale(m - k, fm), sy = scale(y - k, fy), sk = scale(k, fk);
    p[2] = uint8_t(255 - ((sc + sk) % 256));
    p[1] = uint8_t(255 - ((sm + sk) % 256));
    p[0] = uint8_t(255 - ((sy + sk) % 256));
  });
  return out;
}

std::vector<uint8_t> desaturate(const std::vector<uint8_t>& src) {
  std::vector<uint8_t> out = src;
  eachPixel(out, [](uint8_t* p) {
    const Hsi c = rgbToHsi({p[2], p[1], p[0]});
    const Rgb o = hsiToRgb({c.h, 0, c.i});
    p[0] = uint8_t(o.b), p[1] = uint8_t(o.g), p[2] = uint8_t(o.r);
  });
  return out;
}

std::vector<uint8_t> gammaCorrection(const std::vector<uint8_t>& src, unsigned r, unsigned g,
                                     unsigned b) {
  std::vector<uint8_t> out = src;
  eachPixel(out, [&](uint8_t* p) {
    p[0] = uint8_t(gamma(p[0], b)), p[1] = uint8_t(gamma(p[1], g)), p[2] = uint8_t(gamma(p[2], r));
  });
  return out;
}

std::vector<uint8_t> replaceColor(const std::vector<uint8_t>& src, uint32_t colour,
                                  uint32_t tolerance, int hueBytes, int saturation, int intensity) {
  auto byte = [](uint32_t v, int i) { return int((v >> (8 * i)) & 255); };
  std::vector<uint8_t> out = src;
  eachPixel(out, [&](uint8_t* p) {
    // colour bytes 0,1,2 against B,G,R; tolerance bytes 0,1,2 for R,G,B
    if (std::abs(p[0] - byte(colour, 0)) > byte(tolerance, 2)) return;
    if (std::abs(p[1] - byte(colour, 1)) > byte(tolerance, 1)) return;
    if (std::abs(p[2] - byte(colour, 2)) > byte(tolerance, 0)) return;
    const Hsi c = rgbToHsi({p[2], p[1], p[0]});
    int n = c.h + hueBytes;
    if (n < 0) n += 255;
    else if (n > 255) n -= 255;
    const Rgb o = hsiToRgb({n, std::clamp(c.s + saturation, 0, 255), std::clamp(c.i + intensity, 0, 255)});
    p[0] = uint8_t(o.b), p[1] = uint8_t(o.g), p[2] = uint8_t(o.r);
  });
  return out;
}

std::vector<uint8_t> testImage(int32_t width, int32_t height, uint32_t seed) {
  DibSpec spec;
  spec.width = width;
  spec.height = height;
  spec.bits = 24;
  spec.seed = seed;
  std::vector<uint8_t> img = makeDib(spec);
  static const uint8_t kSpecial[][3] = {
      {0, 0, 0},     {255, 255, 255}, {128, 128, 128}, {0, 0, 255},   {0, 255, 0},
      {255, 0, 0},   {0, 255, 255},   {255, 255, 0},   {255, 0, 255}, {10, 200, 200},
      {200, 10, 200}, {200, 200, 10}, {1, 2, 3},       {254, 253, 1}, {0x30, 0x20, 0x10},
      {0x33, 0x1B, 0x0A}, {127, 128, 129}};
  const size_t stride = (size_t(width) * 24 + 31) / 32 * 4;
  size_t n = 0;
  for (int32_t r = 0; r < height && n < std::size(kSpecial); ++r)
    for (int32_t x = 0; x < width && n < std::size(kSpecial); ++x, ++n)
      std::memcpy(&img[40 + r * stride + x * 3], kSpecial[n], 3);
  return img;
}

}  // namespace nadiro::test::ref
