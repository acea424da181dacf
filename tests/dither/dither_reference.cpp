#include "dither/dither_reference.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro::test {
namespace {

uint32_t u32(const std::vector<uint8_t>& b, size_t at) {
  uint32_t v;
  std::memcpy(&v, b.data() + at, 4);
  return v;
}
void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) { std::memcpy(b.data() + at, &v, 4); }

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

// Red, green, blue of pixel x of stored row y.
std::array<int, 3> rgbAt(const std::vector<uint8_t>& in, const Source& s, int x, int y) {
  const size_t row = s.pixels + static_cast<size_t>(y) * s.stride;
  if (s.depth == 24) {
    const size_t p = row + 3 * static_cast<size_t>(x);
    return {in.at(p + 2), in.at(p + 1), in.at(p)};
  }
  int index;
  if (s.depth == 8) {
    index = in.at(row + static_cast<size_t>(x));
  } else {
    const int byte = in.at(row + static_cast<size_t>(x / 2));
    index = x % 2 == 0 ? byte >> 4 : byte & 15;
  }
  const size_t e = 40 + 4 * static_cast<size_t>(index);
  return {in.at(e + 2), in.at(e + 1), in.at(e)};
}

// The channel values of pixel x of row y: the grey value for 1-bit targets.
std::array<int, 3> channelValues(const std::vector<uint8_t>& in, const Source& s, int bits, int x,
                                 int y) {
  auto rgb = rgbAt(in, s, x, y);
  if (bits == 1) rgb[0] = (rgb[0] * 30 + rgb[1] * 59 + rgb[2] * 11) / 100;
  return rgb;
}

// The output image from a palette index per pixel (index[y][x], stored row order).
std::vector<uint8_t> outputImage(const std::vector<uint8_t>& in, int bits, int width, int height,
                                 const std::vector<std::vector<int>>& index) {
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
  const size_t rows = 40 + 4 * colours;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int v = index[static_cast<size_t>(y)][static_cast<size_t>(x)];
      uint8_t& byte = out.at(rows + static_cast<size_t>(y) * so +
                             static_cast<size_t>(x * bits / 8));
      if (bits == 8) byte = static_cast<uint8_t>(v);
      else if (bits == 4) byte = static_cast<uint8_t>(byte | (x % 2 == 0 ? v << 4 : v));
      else if (v) byte = static_cast<uint8_t>(byte | 0x80 >> (x % 8));
    }
  }
  return out;
}

// Working rows: channel by channel, rowsPerChannel rows of L + 20 entries,
// each indexable from -6 to L + 13 and no further.
class Rows {
 public:
  Rows(int channels, int rowsPerChannel, int rowLength)
      : rowsPerChannel_(rowsPerChannel),
        rowLength_(rowLength),
        entries_(static_cast<size_t>(channels * rowsPerChannel * (rowLength + 20)), 0) {}
  int16_t& at(int channel, int row, int x) {
    if (x < -6 || x > rowLength_ + 13) throw std::out_of_range("entry outside the padded row");
    return entries_.at(static_cast<size_t>((channel * rowsPerChannel_ + row) * (rowLength_ + 20) +
                                           6 + x));
  }

 private:
  int rowsPerChannel_, rowLength_;
  std::vector<int16_t> entries_;
};

}  // namespace

const RefKernel& refFloydSteinberg() {
  static const RefKernel k{16, 2, {{0, 1, 7, 'a'}, {1, -1, 3, 'o'}, {1, 0, 5, 'o'}, {1, 1, 1, 's'}}};
  return k;
}
const RefKernel& refJarvisJudiceNinke() {
  static const RefKernel k{48, 3, {{0, 1, 7, 'a'}, {0, 2, 5, 'a'},
                                   {1, -2, 3, 'a'}, {1, -1, 5, 'a'}, {1, 0, 7, 'a'}, {1, 1, 5, 'a'}, {1, 2, 3, 'a'},
                                   {2, -2, 1, 'o'}, {2, -1, 3, 'o'}, {2, 0, 5, 'o'}, {2, 1, 1, 'o'}, {2, 2, 3, 's'}}};
  return k;
}
const RefKernel& refStucki() {
  static const RefKernel k{42, 3, {{0, 1, 8, 'a'}, {0, 2, 4, 'a'},
                                   {1, -2, 2, 'a'}, {1, -1, 4, 'a'}, {1, 0, 8, 'a'}, {1, 1, 4, 'a'}, {1, 2, 2, 'a'},
                                   {2, -2, 1, 'a'}, {2, -1, 2, 'a'}, {2, 0, 4, 'a'}, {2, 1, 2, 'a'}, {2, 2, 1, 's'}}};
  return k;
}
const RefKernel& refBurkes() {
  static const RefKernel k{32, 2, {{0, 1, 8, 'a'}, {0, 2, 4, 'a'},
                                   {1, -2, 4, 'a'}, {1, -1, 2, 'a'}, {1, 0, 8, 'a'}, {1, 1, 4, 'a'}, {1, 2, 2, 's'}}};
  return k;
}
const RefKernel& refSierra() {
  static const RefKernel k{4, 2, {{0, 1, 2, 'a'}, {1, -1, 1, 'a'}, {1, 0, 1, 's'}}};
  return k;
}
const RefKernel& refStevensonArce() {
  static const RefKernel k{200, 4, {{0, 2, 32, 'a'},
                                    {1, -3, 12, 'a'}, {1, -1, 26, 'a'}, {1, 1, 30, 'a'}, {1, 3, 16, 'a'},
                                    {2, -2, 12, 'a'}, {2, 0, 26, 'a'}, {2, 2, 12, 'a'},
                                    {3, -3, 5, 'a'}, {3, -1, 12, 'a'}, {3, 1, 12, 'a'}, {3, 3, 5, 's'}}};
  return k;
}

std::vector<uint8_t> refDiffuse(const std::vector<uint8_t>& in, int bits, const RefKernel& kernel,
                                bool overwriting) {
  const Source s = readSource(in);
  const int channels = bits == 1 ? 1 : 3;
  const int rows = kernel.rowsPerChannel;
  Rows e(channels, rows, s.rowLength);
  std::vector<std::vector<int>> index(static_cast<size_t>(s.height),
                                      std::vector<int>(static_cast<size_t>(s.width), 0));
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
          const int exact = stored ? share : entry + share;
          entry = static_cast<int16_t>(exact);
        }
      }
      index[static_cast<size_t>(y)][static_cast<size_t>(x)] = pixel;
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
  return outputImage(in, bits, s.width, s.height, index);
}

void expectMatchOnAwkwardImages(
    uint16_t depth, uint32_t seed, const std::function<MemHandle(MemHandle)>& call,
    const std::function<std::vector<uint8_t>(const std::vector<uint8_t>&)>& reference) {
  const std::vector<int32_t> widths = {1, 2, 3, 5, 7, 8, 9, 15, 17, 33};
  for (Fill fill : {Fill::Flat, Fill::Gradient, Fill::Noise}) {
    for (int32_t height : {1, 2, 3, 7}) {
      for (int32_t width : widths) {
        const auto in =
            makeDib({width, height, depth, 0, 0, fill, ++seed});
        ImageHandle img(in);
        ImageHandle out(call(img.get()));
        SCOPED_TRACE(testing::Message() << width << "x" << height << " fill " << static_cast<int>(fill));
        ASSERT_TRUE(out);
        EXPECT_EQ(threadErrorBlock()->pixelStatus, NADIRO_PIXEL_OK);
        ASSERT_EQ(blockBytes(out.get()), reference(in));
        ASSERT_EQ(blockBytes(img.get()), in) << "the caller's image is unchanged";
        ASSERT_TRUE(notLocked(img.get()));
      }
    }
  }
}

void expectRefused(const std::function<MemHandle(MemHandle, int32_t)>& call, MemHandle image,
                   int32_t bits, uint32_t code, const char* what) {
  threadErrorBlock()->pixelStatus = 12345;
  EXPECT_EQ(call(image, bits), nullptr) << what;
  EXPECT_EQ(threadErrorBlock()->pixelStatus, code) << what;
}

}  // namespace nadiro::test
