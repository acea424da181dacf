// DitherOrdered: an 8-bit image to a 1-bit image by comparing each pixel,
// scaled by the image's largest value, with a tiled threshold matrix.
#include "dither/ordered.h"

#include <algorithm>

#include "dither/buffers.h"
#include "dither/kernels.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/open_image.h"
#include "nadiro/nadiro.h"

namespace nadiro::dither {
namespace {

// clang-format off
constexpr ThresholdMatrix kMatrices[kOrderedMatrixCount] = {
  {6, 36, {35, 30, 18, 22, 31, 36,
           29, 15, 10, 17, 21, 32,
           14,  9,  5,  6, 16, 20,
           13,  4,  1,  2, 11, 19,
           28,  8,  3,  7, 24, 25,
           34, 27, 12, 23, 26, 33}},
  {6, 36, {36, 34, 32, 31, 33, 35,
           24, 22, 20, 19, 21, 23,
           12, 10,  8,  7,  9, 11,
            6,  4,  2,  1,  3,  5,
           18, 16, 14, 13, 15, 17,
           30, 28, 26, 25, 27, 29}},
  {5, 25, {21, 22, 23, 24, 25,
           20,  7,  8,  9, 10,
           19,  6,  1,  2, 11,
           18,  5,  4,  3, 12,
           17, 16, 15, 14, 13}},
  {5, 242, {167, 200, 230, 216, 181,
             94,  72, 193, 242, 232,
             36,  52, 222, 167, 200,
            181, 126, 210,  94,  72,
            232, 153, 111,  36,  51}},
  {8, 63, { 0, 32,  8, 40,  2, 34, 10, 42,
           48, 16, 56, 24, 50, 18, 58, 26,
           12, 44,  4, 36, 14, 46,  6, 38,
           60, 28, 52, 20, 62, 30, 54, 22,
            3, 35, 11, 43,  1, 33,  9, 41,
           51, 19, 59, 27, 49, 17, 57, 25,
           15, 47,  7, 39, 13, 45,  5, 37,
           63, 31, 55, 23, 61, 29, 53, 21}},
  {8, 64, { 2, 60, 16, 56,  3, 57, 13, 53,
           34, 18, 48, 32, 35, 19, 45, 29,
           10, 50,  6, 64, 11, 51,  7, 61,
           42, 26, 38, 22, 43, 27, 39, 23,
            4, 58, 14, 54,  1, 59, 15, 55,
           36, 20, 46, 30, 33, 17, 47, 31,
           12, 52,  8, 62,  9, 49,  5, 63,
           44, 28, 40, 24, 41, 25, 37, 21}},
  {16, 255, {
      2, 236,  60, 220,  16, 232,  56, 216,   3, 233,  57, 217,  13, 229,  53, 213,
    130,  66, 188, 124, 144,  80, 184, 120, 131,  67, 185, 121, 141,  77, 181, 117,
     34, 194,  18, 252,  48, 208,  32, 248,  35, 195,  19, 249,  45, 205,  29, 245,
    162,  98, 146,  82, 176, 112, 160,  96, 163,  99, 147,  83, 173, 109, 157,  93,
     10, 226,  50, 210,   6, 240,  64, 224,  11, 227,  51, 211,   7, 237,  61, 221,
    138,  74, 178, 114, 134,  70, 192, 128, 139,  75, 179, 115, 135,  71, 189, 125,
     42, 202,  26, 242,  38, 198,  22, 255,  43, 203,  27, 243,  39, 199,  23, 253,
    170, 106, 154,  90, 166, 102, 150,  86, 171, 107, 155,  91, 167, 103, 151,  87,
      4, 234,  58, 218,  14, 230,  54, 214,   1, 235,  59, 219,  15, 231,  55, 215,
    132,  68, 186, 122, 142,  78, 182, 118, 129,  65, 187, 123, 143,  79, 183, 119,
     36, 196,  20, 250,  46, 206,  30, 246,  33, 193,  17, 251,  47, 207,  31, 247,
    164, 100, 148,  84, 174, 110, 158,  94, 161,  97, 145,  81, 175, 111, 159,  95,
     12, 228,  52, 212,   8, 238,  62, 222,   9, 225,  49, 209,   5, 239,  63, 223,
    140,  76, 180, 116, 136,  72, 190, 126, 137,  73, 177, 113, 133,  69, 191, 127,
     44, 204,  28, 244,  40, 200,  24, 254,  41, 201,  25, 241,  37, 197,  21, 255,
    172, 108, 156,  92, 168, 104, 152,  88, 169, 105, 153,  89, 165, 101, 149,  85}},
};
// clang-format on

// Every matrix entry is at most the matrix's largest entry M, so for any
// picture with a pixel above 0 the largest pixel P reaches every entry
// ((P * M) / P is exactly M) and the first white value of every entry fits
// a byte.
constexpr bool entriesWithinLargest() {
  for (const ThresholdMatrix& m : kMatrices)
    for (uint32_t k = 0; k < m.n * m.n; ++k)
      if (m.cells[k] > m.largest) return false;
  return true;
}
static_assert(entriesWithinLargest());

// A run of thresholds that every matrix period (5, 6, 8, 16) and every
// kernel's vector width (16, 32, 64 pixels) divide, so a row is processed
// in whole runs of one precomputed pattern that start on a byte.
constexpr size_t kPatternRun = 960;

// For every matrix entry t, the smallest pixel value v whose scaled value
// (v * M) / P reaches t, or 256 when none does. The scaled value is a
// single-precision quotient of exact integers and never decreases with v,
// so "v >= firstWhite[t]" is exactly "!((v * M) / P < t)". With P = 0 the
// only pixel value is 0, whose quotient 0/0 is not a number and compares as
// "less": it stays black, as firstWhite >= 1 guarantees.
std::array<uint16_t, 256> firstWhiteTable(uint32_t largestEntry, uint8_t largestPixelValue) {
  std::array<float, 256> scaled{};
  for (uint32_t v = 0; v < 256; ++v)
    scaled[v] = static_cast<float>(v * largestEntry) / static_cast<float>(largestPixelValue);
  std::array<uint16_t, 256> first{};
  for (uint32_t t = 0; t < 256; ++t) {
    uint16_t v = 0;
    while (v < 256 && !(scaled[v] >= static_cast<float>(t))) ++v;
    first[t] = v;
  }
  return first;
}

}  // namespace

const ThresholdMatrix& orderedMatrix(uint32_t type) {
  return kMatrices[type];
}
static_assert(sizeof kMatrices / sizeof kMatrices[0] == kOrderedMatrixCount);

uint8_t largestPixel(std::span<const uint8_t> rows, size_t stride, uint32_t width,
                     uint32_t height) {
  uint8_t largest = 0;
  if (width == 0) return largest;  // rows of no bytes, however many
  for (uint32_t r = 0; r < height; ++r) {
    const uint8_t* row = rows.data() + r * stride;
    for (uint32_t x = 0; x < width; ++x) largest = std::max(largest, row[x]);
  }
  return largest;
}

void orderedDitherToBits(std::span<const uint8_t> rows, size_t stride, std::span<uint8_t> out,
                         size_t outStride, uint32_t width, uint32_t height,
                         const ThresholdMatrix& matrix, uint8_t largest) {
  if (width == 0) return;  // rows of no bytes, however many
  const auto firstWhite = firstWhiteTable(matrix.largest, largest);
  const uint32_t n = matrix.n;
  // One run of thresholds per matrix column, groups of eight back to front.
  std::array<uint8_t, 16 * kPatternRun> patterns;  // n is at most 16
  for (uint32_t column = 0; column < n; ++column)
    for (size_t j = 0; j < kPatternRun; ++j) {
      const uint16_t first = firstWhite[matrix.cells[(j % n) * n + column]];
      // Above 255 only when P = 0, where every pixel is 0 and 255 keeps it black too.
      patterns[column * kPatternRun + (j ^ 7)] = static_cast<uint8_t>(first > 255 ? 255 : first);
    }
  const DitherKernels& kernels = ditherKernels();
  for (uint32_t r = 0; r < height; ++r) {
    // Row y of the picture (counted from the top) picks the matrix column.
    const uint8_t* pattern = patterns.data() + ((height - 1 - r) % n) * kPatternRun;
    const uint8_t* px = rows.data() + r * stride;
    uint8_t* bits = out.data() + r * outStride;
    for (uint32_t x0 = 0; x0 < width; x0 += kPatternRun)
      kernels.orderedBits(px + x0, pattern, std::min<uint32_t>(kPatternRun, width - x0),
                          bits + x0 / 8);
  }
}

}  // namespace nadiro::dither

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherOrdered(NadiroHandle image, uint32_t type) {
  if (!image || type >= dither::kOrderedMatrixCount) return nullptr;
  OpenImage source(image);
  if (!source.hasHeader() || source.header().bitCount != 8) return nullptr;
  const auto layout = source.layout();
  if (!layout) return nullptr;

  // A header whose bit count times planes is not 8 has always been refused.
  if (layout->header.planes != 1) return nullptr;
  const auto pixels = source.block().bytes().subspan(static_cast<size_t>(layout->pixelOffset));
  const uint8_t largest =
      dither::largestPixel(pixels, layout->stride, layout->width, layout->height);

  const uint32_t outStride = (layout->width + 31) / 32 * 4;
  const uint64_t pixelBytes = uint64_t{outStride} * layout->height;
  const std::span<const uint8_t> palette = dither::ditherPalette(1);
  const size_t headerBytes = dib::kInfoHeaderSize + palette.size();
  OwnedBlock made = OwnedBlock::allocate(pixelBytes + headerBytes);
  if (!made) return nullptr;
  LockedBlock out(made.get());
  if (!out) return nullptr;
  const dib::Header& h = layout->header;
  dib::writeNewImageHeader(out.data(),
                           {.width = h.width,
                            .height = h.height,
                            .bitCount = 1,
                            .sizeImage = static_cast<uint32_t>(pixelBytes),
                            .xPelsPerMeter = h.xPelsPerMeter,
                            .yPelsPerMeter = h.yPelsPerMeter,
                            .clrUsed = 2},
                           palette);
  dither::orderedDitherToBits(pixels, layout->stride, out.bytes().subspan(headerBytes), outStride,
                              layout->width, layout->height, dither::orderedMatrix(type), largest);
  out.unlock();
  source.block().unlock();
  return made.release();
}
