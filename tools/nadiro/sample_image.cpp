// The demo's built-in picture: a sunset landscape with a colour wheel and a
// resolution chart, so every operation has gradients, edges and detail.
#include <algorithm>
#include <cmath>

#include "demo.h"

namespace nadiro::cli {
namespace {

struct Rgb {
  double r, g, b;
};

Rgb mix(Rgb a, Rgb b, double t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

Rgb hue(double h) {  // h in [0, 1): a fully saturated colour
  const double k[3] = {std::fmod(5 + h * 6, 6), std::fmod(3 + h * 6, 6), std::fmod(1 + h * 6, 6)};
  double c[3];
  for (int i = 0; i < 3; ++i) c[i] = 255 * (1 - std::max(0.0, std::min({k[i], 4 - k[i], 1.0})));
  return {c[0], c[1], c[2]};
}

uint8_t byte(double v) {
  return static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
}

Rgb pixel(double x, double y, double w, double h) {
  const double u = x / w, v = y / h;  // v = 0 at the top
  // Sky: deep blue at the top to orange at the horizon.
  Rgb c = mix({20, 40, 120}, {250, 150, 60}, std::pow(v / 0.62, 1.4));
  // Sun with a soft glow and a hard rim.
  const double sx = 0.7 * w, sy = 0.42 * h, sr = 0.09 * h;
  const double d = std::hypot(x - sx, y - sy);
  if (d < sr)
    c = {255, 236, 150};
  else
    c = mix(c, {255, 200, 110}, std::exp(-(d - sr) / (0.12 * h)) * 0.6);
  // Mountains: two ridges with hard silhouettes.
  const double ridge1 = 0.55 + 0.08 * std::sin(u * 9.0) + 0.03 * std::sin(u * 31.0);
  const double ridge2 = 0.66 + 0.05 * std::sin(u * 5.0 + 1.3) + 0.015 * std::sin(u * 57.0);
  if (v > ridge1) c = mix({70, 60, 110}, {40, 35, 70}, std::min(1.0, (v - ridge1) * 6));
  if (v > ridge2) {
    // Meadow with fine grass texture.
    const double blade = 0.5 + 0.5 * std::sin(x * 1.9 + std::sin(y * 0.7) * 3.0);
    c = mix({40, 110, 40}, {150, 190, 60}, (v - ridge2) * 2.2 * (0.7 + 0.3 * blade));
  }
  // Colour wheel in the lower left.
  const double cx = 0.16 * w, cy = 0.8 * h, cr = 0.14 * h;
  const double dw = std::hypot(x - cx, y - cy);
  if (dw < cr) {
    const double a = std::atan2(y - cy, x - cx) / (2 * M_PI) + 0.5;
    c = mix({255, 255, 255}, hue(a), dw / cr);
  }
  // Resolution chart in the lower right: converging lines and a checkerboard.
  if (u > 0.78 && v > 0.72 && u < 0.97 && v < 0.95) {
    const double lx = (u - 0.78) / 0.19, ly = (v - 0.72) / 0.23;
    if (lx < 0.5) {
      const double freq = 4 + ly * 40;
      c = std::sin(lx * freq * M_PI * 2) > 0 ? Rgb{240, 240, 240} : Rgb{15, 15, 15};
    } else {
      c = ((int(x) / 2 + int(y) / 2) % 2) ? Rgb{230, 30, 30} : Rgb{30, 30, 230};
    }
  }
  return c;
}

}  // namespace

Dib makeSampleImage(int32_t width, int32_t height) {
  Dib d = Dib::blank(width, height, 24);
  for (int32_t r = 0; r < height; ++r) {
    uint8_t* row = d.row(r);
    const int32_t y = height - 1 - r;  // rows are stored bottom-up
    for (int32_t x = 0; x < width; ++x) {
      const Rgb c = pixel(x + 0.5, y + 0.5, width, height);
      row[3 * x] = byte(c.b);
      row[3 * x + 1] = byte(c.g);
      row[3 * x + 2] = byte(c.r);
    }
  }
  return d;
}

}  // namespace nadiro::cli
