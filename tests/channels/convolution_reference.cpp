#include "channels/convolution_reference.h"

#include <algorithm>

namespace nadiro::test {

int referenceDivisor(RefKernel& k) {
  int positive = 0, negative = 0;
  for (int v : k.flat) (v > 0 ? positive : negative) += v > 0 ? v : -v;
  int d = k.divisor;
  if (d == 0) d = static_cast<int16_t>(positive - negative);
  if (d == 0) d = 1;
  if (d < 0) {
    d = -d;
    for (int& v : k.flat) v = -v;
  }
  return d;
}

std::vector<uint8_t> referenceConvolve(const std::vector<uint8_t>& pixels, int width, int height,
                                       int stride, const RefKernel& given, bool luma) {
  RefKernel k = given;
  const int d = k.callerKernel ? referenceDivisor(k) : k.divisor;
  const int n = k.n, c = n / 2;
  auto byteAt = [&](int x, int y, int ch) {
    return int{pixels[static_cast<size_t>(y) * stride + 3 * x + ch]};
  };
  // Scalar of the pixel at clamped coordinates: B is byte 0, R byte 2.
  auto s = [&](int x, int y) {
    x = std::clamp(x, 0, width - 1);
    y = std::clamp(y, 0, height - 1);
    const int b = byteAt(x, y, 0), g = byteAt(x, y, 1), r = byteAt(x, y, 2);
    return luma ? (3 * r + 15 * g + 8 * b) / 26 : (b + g + r) / 3;
  };
  auto weight = [&](int i, int j) { return k.flat[static_cast<size_t>(i * n + j)]; };

  std::vector<uint8_t> out = pixels;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      int sum = 0;
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) sum += weight(i, j) * s(x + c - i, y + c - j);
      // 5x5 caller kernels leave out, at column width - 2, the weight of
      // value 1 * 5 + 4 for the last pixel (its stored-row offset is c - 4).
      if (n == 5 && k.callerKernel && width >= 2 && x == width - 2)
        sum -= weight(1, 4) * s(width - 1, y + c - 4);
      sum = static_cast<int16_t>(sum);
      int norm = sum;
      if (d == 2 || d == 4 || d == 8 || d == 16 || d == 32 || d == 64) {
        // floor division for the powers of two
        norm = sum >= 0 ? sum / d : -((-sum + d - 1) / d);
      } else if (d != 1) {
        norm = sum / d;
      }
      const int change = static_cast<int16_t>(norm - s(x, y));
      for (int ch = 0; ch < 3; ++ch)
        out[static_cast<size_t>(y) * stride + 3 * x + ch] =
            static_cast<uint8_t>(std::clamp(byteAt(x, y, ch) + change, 0, 255));
    }
  }
  return out;
}

}  // namespace nadiro::test
