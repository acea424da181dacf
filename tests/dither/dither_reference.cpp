#include "dither/dither_reference.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

namespace nadiro::test {
namespace {

uint32_t u32(const std::vector<uint8_t>& b, size_t at) {
  uint32_t v;
  std::memcpy(&v, b.data() + at, 4);
  return v;
}
void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
  std::memcpy(b.data() + at, &v, 4);
}

struct Source {
  int depth, width, height;
  size_t stride, pixels;
  int rowLength;  // L
};

Source readSource(const std::vector<uint8_t>& in) {
  Source s;
  s.depth = in[14] | in[15] << 8;
  s.width = static_cast<int>(u32(in, 4));
  s.height = static_cast<int>(u32(in, 8));
  s.stride = static_cast<size_t>(((s.depth * s.width + 31) >> 5) << 2);
  // Fixed offsets whatever the header says.
  s.pixels = s.depth == 4 ? 104 : s.depth == 8 ? 1064 : 40;
  s.rowLength = s.depth == 4 ? ((s.width * 4 + 31) >> 5) << 3 : ((s.width * 8 + 31) >> 5) << 2;
  return s;
}

// Red, green, blue of pixel x of stored row y; red holds the grey value
// for 1-bit targets.
std::array<int, 3> channelValues(const std::vector<uint8_t>& in, const Source& s, int bits, int x,
                                 int y) {
  const size_t row = s.pixels + static_cast<size_t>(y) * s.stride;
  size_t p = row + 3 * static_cast<size_t>(x);  // 24-bit: the pixel; else its palette entry
  if (s.depth == 8) p = 40 + 4 * size_t{in.at(row + static_cast<size_t>(x))};
  if (s.depth == 4) {
    const int byte = in.at(row + static_cast<size_t>(x / 2));
    p = 40 + 4 * static_cast<size_t>(x % 2 == 0 ? byte >> 4 : byte & 15);
  }
  std::array<int, 3> rgb = {in.at(p + 2), in.at(p + 1), in.at(p)};
  if (bits == 1) rgb[0] = (rgb[0] * 30 + rgb[1] * 59 + rgb[2] * 11) / 100;
  return rgb;
}

// The output image's header and palette, its pixels all index 0.
std::vector<uint8_t> outputImage(const std::vector<uint8_t>& in, int bits, int width, int height) {
  const size_t so = static_cast<size_t>(((width * bits + 31) >> 5) << 2);
  const size_t colours = size_t{1} << bits;
  std::vector<uint8_t> out(40 + 4 * colours + so * static_cast<size_t>(height), 0);
  put32(out, 0, 40);
  put32(out, 4, static_cast<uint32_t>(width));
  put32(out, 8, static_cast<uint32_t>(height));
  out[12] = 1;
  out[14] = static_cast<uint8_t>(bits);
  put32(out, 20, static_cast<uint32_t>(so * static_cast<size_t>(height)));
  put32(out, 24, u32(in, 24));
  put32(out, 28, u32(in, 28));
  put32(out, 32, static_cast<uint32_t>(colours));
  for (size_t i = 0; i < colours; ++i) {
    uint8_t* e = out.data() + 40 + 4 * i;
    if (bits == 1) {
      e[0] = e[1] = e[2] = i ? 255 : 0;
    } else if (bits == 4) {
      e[0] = (i & 2) ? 255 : 0;
      e[1] = (i & 4) ? 255 : 0;
      e[2] = (i & 8) ? 255 : 0;
      e[3] = (i & 1) ? 255 : 0;
    } else {
      e[2] = static_cast<uint8_t>(static_cast<double>(i >> 5) * 36.42857142857143);
      e[1] = static_cast<uint8_t>(static_cast<double>((i >> 2) & 7) * 36.42857142857143);
      e[0] = static_cast<uint8_t>((i & 3) * 85);
    }
  }
  return out;
}

// Sets pixel x of stored row y of the output image to index v.
void setIndex(std::vector<uint8_t>& out, int bits, int width, int x, int y, int v) {
  const size_t so = static_cast<size_t>(((width * bits + 31) >> 5) << 2);
  uint8_t& byte = out.at(40 + (size_t{4} << bits) + static_cast<size_t>(y) * so +
                         static_cast<size_t>(x * bits / 8));
  if (bits == 8)
    byte = static_cast<uint8_t>(v);
  else if (bits == 4)
    byte = static_cast<uint8_t>(byte | (x % 2 == 0 ? v << 4 : v));
  else if (v)
    byte = static_cast<uint8_t>(byte | 0x80 >> (x % 8));
}

// Working rows: channel by channel, `rows` rows of L + 20 entries, each
// indexable from -6 to L + 13 and no further.
struct Rows {
  int rows, length;
  std::vector<int16_t> entries;
  int16_t& at(int channel, int row, int x) {
    if (x < -6 || x > length + 13) throw std::out_of_range("entry outside the padded row");
    return entries.at(static_cast<size_t>((channel * rows + row) * (length + 20) + 6 + x));
  }
};

}  // namespace

// The kernels a row of taps a line, as documented.
// clang-format off
const RefKernel kRefFloydSteinberg{16, 2, {
    {0, 1, 7, 'a'},
    {1, -1, 3, 'o'}, {1, 0, 5, 'o'}, {1, 1, 1, 's'}}};
const RefKernel kRefJarvisJudiceNinke{48, 3, {
    {0, 1, 7, 'a'}, {0, 2, 5, 'a'},
    {1, -2, 3, 'a'}, {1, -1, 5, 'a'}, {1, 0, 7, 'a'}, {1, 1, 5, 'a'}, {1, 2, 3, 'a'},
    {2, -2, 1, 'o'}, {2, -1, 3, 'o'}, {2, 0, 5, 'o'}, {2, 1, 1, 'o'}, {2, 2, 3, 's'}}};
const RefKernel kRefStucki{42, 3, {
    {0, 1, 8, 'a'}, {0, 2, 4, 'a'},
    {1, -2, 2, 'a'}, {1, -1, 4, 'a'}, {1, 0, 8, 'a'}, {1, 1, 4, 'a'}, {1, 2, 2, 'a'},
    {2, -2, 1, 'a'}, {2, -1, 2, 'a'}, {2, 0, 4, 'a'}, {2, 1, 2, 'a'}, {2, 2, 1, 's'}}};
const RefKernel kRefBurkes{32, 2, {
    {0, 1, 8, 'a'}, {0, 2, 4, 'a'},
    {1, -2, 4, 'a'}, {1, -1, 2, 'a'}, {1, 0, 8, 'a'}, {1, 1, 4, 'a'}, {1, 2, 2, 's'}}};
const RefKernel kRefSierra{4, 2, {
    {0, 1, 2, 'a'},
    {1, -1, 1, 'a'}, {1, 0, 1, 's'}}};
const RefKernel kRefStevensonArce{200, 4, {
    {0, 2, 32, 'a'},
    {1, -3, 12, 'a'}, {1, -1, 26, 'a'}, {1, 1, 30, 'a'}, {1, 3, 16, 'a'},
    {2, -2, 12, 'a'}, {2, 0, 26, 'a'}, {2, 2, 12, 'a'},
    {3, -3, 5, 'a'}, {3, -1, 12, 'a'}, {3, 1, 12, 'a'}, {3, 3, 5, 's'}}};
// clang-format on

std::vector<uint8_t> refDiffuse(const std::vector<uint8_t>& in, int bits, const RefKernel& kernel,
                                bool overwriting) {
  const Source s = readSource(in);
  const int channels = bits == 1 ? 1 : 3;
  const int rows = kernel.rowsPerChannel;
  Rows e{rows, s.rowLength,
         std::vector<int16_t>(static_cast<size_t>(channels * rows * (s.rowLength + 20)))};
  std::vector<uint8_t> out = outputImage(in, bits, s.width, s.height);
  for (int y = 0; y < s.height; ++y) {
    for (int x = 0; x < s.width; ++x) {
      const auto v = channelValues(in, s, bits, x, y);
      for (int c = 0; c < channels; ++c)
        e.at(c, 0, x) = static_cast<int16_t>(e.at(c, 0, x) + v[static_cast<size_t>(c)]);
    }
    for (int c = 0; c < channels; ++c)
      for (int k = 1; k < rows; ++k)
        for (int i = 0; i < 6; ++i) e.at(c, k, i) = 0;

    for (int x = 0; x < s.width; ++x) {
      int pixel = 0;
      for (int c = 0; c < channels; ++c) {
        const int v = e.at(c, 0, x);
        int err;
        if (bits == 8) {
          const int step = c == 2 ? 64 : 32, top = c == 2 ? 3 : 7;
          const int level = std::clamp(v / step, 0, top);
          err = v - level * step;
          pixel += c == 0 ? level * 32 : c == 1 ? level * 4 : level;
        } else {
          const bool white = v > 128;
          err = white ? v - 255 : v;
          if (white) pixel += bits == 1 ? 1 : (c == 0 ? 8 : c == 1 ? 4 : 2);
        }
        if (err == 0) continue;
        for (const RefTap& t : kernel.taps) {
          const int share = err * t.weight / kernel.divisor;
          int16_t& entry = e.at(c, t.row, x + t.dx);
          const bool stored = t.take == 's' || (t.take == 'o' && overwriting);
          entry = static_cast<int16_t>(stored ? share : entry + share);
        }
      }
      setIndex(out, bits, s.width, x, y, pixel);
    }

    for (int c = 0; c < channels; ++c) {
      for (int x = 0; x < s.rowLength; ++x) {
        if (rows == 2) {
          e.at(c, 0, x) = e.at(0, 1, x);  // red's next row into every channel
        } else {
          for (int k = 0; k + 1 < rows; ++k) e.at(c, k, x) = e.at(c, k + 1, x);
        }
      }
    }
  }
  return out;
}

}  // namespace nadiro::test
