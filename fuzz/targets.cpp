// The harness bodies: each reads an export choice and its arguments, then
// the image arguments, calls through the public interface and holds the
// call to its contract: the caller's blocks alive, unchanged and unlocked
// (except where the interface says otherwise) and every returned image new
// and well formed.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "harness.h"

#if defined(_WIN32)
#include <process.h>
#define NADIRO_FUZZ_PID _getpid()
#else
#include <unistd.h>
#define NADIRO_FUZZ_PID getpid()
#endif

namespace nadiro::fuzz {
namespace {

using Dither = NadiroHandle(NADIRO_CALL*)(NadiroHandle, int32_t);
using DitherEx = NadiroHandle(NADIRO_CALL*)(NadiroHandle, int32_t, int32_t);

struct DitherExport {
  const char* name;
  Dither plain;
  DitherEx withFlag;
  bool window;  // the two-by-two window methods: their own codes, 8 bits refused
};
constexpr std::array<DitherExport, 10> kDithers = {{
    {"DitherFS4", &DitherFS4, nullptr, false},
    {"DitherFS4Ex", nullptr, &DitherFS4Ex, false},
    {"DitherJJN", &DitherJJN, nullptr, false},
    {"DitherJJNEx", nullptr, &DitherJJNEx, false},
    {"DitherStucki", &DitherStucki, nullptr, false},
    {"DitherBurkes", &DitherBurkes, nullptr, false},
    {"DitherSierra", &DitherSierra, nullptr, false},
    {"DitherSA", &DitherSA, nullptr, false},
    {"DitherSharp", &DitherSharp, nullptr, true},
    {"DitherSmooth", &DitherSmooth, nullptr, true},
}};

void runDither(Input& in) {
  const uint8_t which = in.u8() % (kDithers.size() + 1);
  const auto bits = in.pickSigned({1, 4, 8, 0, 2, 24, -1});
  const auto flag = in.pickSigned({0, 1, -1});
  const uint32_t type = in.pick({0, 1, 2, 3, 4, 5, 6, 7});
  FuzzImage image(in, {8, 5, 3});
  if (which == kDithers.size()) {
    expectImage(DitherOrdered(image.handle(), type), "DitherOrdered", {1, 48});
    image.expectIntact("DitherOrdered");
    return;
  }
  const DitherExport& e = kDithers[which];
  const NadiroHandle out =
      e.plain ? e.plain(image.handle(), bits) : e.withFlag(image.handle(), bits, flag);
  // The window methods leave a source of a refused depth locked.
  const uint16_t depth = image.bits();
  const bool keepsLock = e.window && !out && (bits == 1 || bits == 4) && image.isBlock() &&
                         image.bytes().size() >= 40 &&
                         (depth <= bits || (depth != 4 && depth != 8 && depth != 24));
  expectImage(out, e.name, {static_cast<uint32_t>(bits), -1});
  image.expectIntact(e.name, keepsLock ? 1 : 0);
}

// Buffer pixel sizes: a CMYK source pixel is 4 bytes; CMYK targets take 4
// bytes a pixel, none from a CMYK source.
size_t sourcePixelBytes(int32_t from) {
  return from == 4 ? 4 : 3;
}
size_t targetPixelBytes(int32_t from, int32_t to) {
  if (to != 4 && to != 10) return 3;
  return from == 4 ? 0 : 4;
}

void runColor(Input& in) {
  const bool image = in.u8() % 2 == 0;
  const auto from = in.pickSigned({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 11});
  const auto to = in.pickSigned({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 11});
  const int32_t showProgress = in.u8() % 2 && progressAllowed();
  fuzzProgress(in);
  if (image) {
    FuzzImage source(in, {24, 3, 2});
    const NadiroHandle out = ConvertDIBColorSpace(source.handle(), from, to, showProgress, nullptr);
    if (out && out == source.handle()) {
      FUZZ_EXPECT(from == to, "ConvertDIBColorSpace returned its source");
    } else {
      // A CMYK source gives a new 24-bit image, whatever the target. Other
      // sources: three-byte targets get a copy of the caller's block, header
      // and all; the CMYK targets a new 32-bit image.
      const bool cmykSource = from == NADIRO_MODEL_CMYK;
      const bool cmykTarget =
          !cmykSource && (to == NADIRO_MODEL_CMYK || to == NADIRO_MODEL_CMYK_UCR);
      const bool made = cmykSource || cmykTarget;
      FUZZ_EXPECT(!out || made || memSize(out) == source.bytes().size(), "ConvertDIBColorSpace");
      expectImage(out, "ConvertDIBColorSpace",
                  {cmykSource   ? 24u
                   : cmykTarget ? 32u
                                : 0u,
                   40, made});
    }
    // Making a CMYK source's new image stores its pixel size into the
    // caller's biSizeImage (bytes 20..23), a documented slip, also when the
    // walk is cancelled later; nothing else of the caller's block changes.
    const bool sizeStored = from == NADIRO_MODEL_CMYK;
    source.expectIntact("ConvertDIBColorSpace", 0, false, 20, sizeStored ? 4 : 0);
    return;
  }
  // Buffers of exactly the documented sizes, so any byte beyond is caught.
  const auto length = in.pickSigned({0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 13, 300, -1, INT32_MIN});
  if (length > (1 << 20)) return;
  // Pixels start at every multiple of the source's size below length.
  const size_t inBytes = sourcePixelBytes(from);
  const size_t started = length > 0 ? (static_cast<size_t>(length) + inBytes - 1) / inBytes : 0;
  const uint8_t nulls = in.u8();
  const auto data = in.rest();
  // Arrays of their exact size (new[0] too is a distinct, untouchable one).
  const size_t sourceBytes = started * inBytes, targetBytes = started * targetPixelBytes(from, to);
  const auto source = std::make_unique<uint8_t[]>(sourceBytes);
  const auto target = std::make_unique<uint8_t[]>(targetBytes);
  for (size_t i = 0; i < sourceBytes && !data.empty(); ++i) source[i] = data[i % data.size()];
  const std::vector<uint8_t> before(source.get(), source.get() + sourceBytes);
  const int32_t walked = ConvertColorSpace(nulls % 16 == 1 ? nullptr : source.get(),
                                           nulls % 16 == 2 ? nullptr : target.get(), length, from,
                                           to, showProgress, nullptr);
  FUZZ_EXPECT(walked >= -1 && walked <= (length > 0 ? length : 0), "ConvertColorSpace");
  FUZZ_EXPECT(std::equal(before.begin(), before.end(), source.get()),
              "ConvertColorSpace changed its source");
}

// The pixel bytes of the image ColorBrightnessContrast and the convolution
// make by contract: the header's image size, or when that is 0 its rows'
// size, whether or not the block holds them.
uint64_t promisedImageBytes(const FuzzImage& image) {
  const auto& b = image.bytes();
  if (b.size() < 40) return 0;
  uint32_t sizeImage;
  int32_t width, height;
  std::memcpy(&width, b.data() + 4, 4);
  std::memcpy(&height, b.data() + 8, 4);
  std::memcpy(&sizeImage, b.data() + 20, 4);
  if (sizeImage) return sizeImage;
  const uint64_t w = static_cast<uint64_t>(width < 0 ? -int64_t{width} : width);
  const uint64_t h = static_cast<uint64_t>(height < 0 ? -int64_t{height} : height);
  return (w * image.bits() + 31) / 32 * 4 * h;
}
// Larger promised images are left out: their size is what was asked for.
constexpr uint64_t kPromisedLimit = uint64_t{64} << 20;

void runAdjust(Input& in) {
  const uint8_t which = in.u8() % 6;
  const int32_t a = in.pickSigned({0, 100, -100, 50, 101, -101, 180, -180, 255, -256});
  const int32_t b = in.pickSigned({0, 100, -100, 10, 500, 501, 9, 360, 255, -255});
  const int32_t c = in.pickSigned({0, 100, -100, 1, 360, 361, 255, -256});
  const int32_t d = in.pickSigned({0, 100, -100, 360, 0, 180, 361});
  const int32_t e = in.pickSigned({0, 100, -100, 360, 180, -1});
  const int32_t f = in.pickSigned({0, -100, 100, 255, -255, 256});
  const int32_t wanted = in.pickSigned({0, 1, 4});
  int32_t mode = wanted & ~2;  // no dialogs
  if (mode == 1 && !progressAllowed()) mode = 0;
  fuzzProgress(in);
  FuzzImage image(in, {24, 3, 2}, /*boundImageSize=*/true);
  if (which == 0 && promisedImageBytes(image) > kPromisedLimit) return;
  const NadiroHandle h = image.handle();
  const auto u = [](int32_t v) { return static_cast<uint32_t>(v); };
  static constexpr const char* kNames[] = {"ColorBrightnessContrast", "ColorHueSaturation",
                                           "ColorCMYKLevels",         "Desaturate",
                                           "GammaCorrection",         "ReplaceColor"};
  NadiroHandle out = nullptr;
  switch (which) {
    case 0:
      out = ColorBrightnessContrast(h, a, b, 0);
      break;
    case 1:
      out = ColorHueSaturation(h, a, b, c, u(d), u(e), mode, nullptr);
      break;
    case 2:
      out = ColorCMYKLevels(h, a, b, c, d, mode, nullptr);
      break;
    case 3:
      out = Desaturate(h, mode, nullptr);
      break;
    case 4:
      out = GammaCorrection(h, u(a), u(b), u(c), mode, nullptr);
      break;
    default:
      out = ReplaceColor(h, u(a), u(b), c, d, f, mode, nullptr);
      break;
  }
  FUZZ_EXPECT(out != h || !out, kNames[which]);
  expectImage(out, kNames[which], {0, -1, false});  // the caller's header, copied
  image.expectIntact(kNames[which]);
}

void runChannels(Input& in) {
  const bool split = in.u8() % 2 == 0;
  const uint32_t model = in.pick({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 11, 0x101});
  if (split) {
    const bool noArray = in.u8() % 16 == 0;
    FuzzImage image(in, {24, 3, 2});
    NadiroHandle channels[4] = {};
    const uint32_t count = SplitColorChannels(image.handle(), noArray ? nullptr : channels, model);
    FUZZ_EXPECT(count == 0 || count == 3 || count == 4, "SplitColorChannels");
    for (uint32_t i = 0; i < count; ++i) expectImage(channels[i], "SplitColorChannels", {8, 1064});
    // A 32-bit source split into another model is left locked.
    const bool keepsLock =
        count == 0 && image.bits() == 32 && (model & 0xFF) != 1 && GetLastColorConvertError() == 4;
    image.expectIntact("SplitColorChannels", keepsLock ? 1 : 0);
    return;
  }
  // Channels of one size by default, so that most calls get to the pixels.
  const int32_t width = in.pickSigned({3, 0, 1, 4, 7});
  const int32_t height = in.pickSigned({2, 0, 1, 5});
  FuzzImage c1(in, {8, width, height}), c2(in, {8, width, height}), c3(in, {8, width, height}),
      c4(in, {8, width, height}), dest(in, {24, width, height});
  const uint32_t merged =
      MergeColorChannels(c1.handle(), c2.handle(), c3.handle(), c4.handle(), dest.handle(), model);
  FUZZ_EXPECT(merged == 0 || merged == 1, "MergeColorChannels");
  // A missing or compressed fourth channel leaves the others and dest locked.
  const bool four = model == 4 || model == 10;
  const bool keepsLocks = !merged && four && (!c4.isBlock() || c4.compression() != 0);
  for (const FuzzImage* c : {&c1, &c2, &c3, &c4})
    c->expectIntact("MergeColorChannels", keepsLocks && c != &c4 ? 1 : 0);
  dest.expectIntact("MergeColorChannels (destination)", keepsLocks ? 1 : 0, merged == 1);
}

// A kernel file of the fuzzer's bytes, one per process.
std::filesystem::path kernelFile(std::span<const uint8_t> bytes) {
  const auto path = std::filesystem::temp_directory_path() /
                    ("nadiro-fuzz-kernel-" + std::to_string(NADIRO_FUZZ_PID) + ".bin");
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return path;
}

void runConvolve(Input& in) {
  const uint32_t newImage = in.pick({1, 0, 2});
  const int32_t luma = in.pickSigned({0, 1, 2});
  const uint32_t source = in.pick({1, 2, 3, 4, 5, 6, 0, 7, 0x10001});
  const int32_t size = in.pickSigned({3, 5, 7, 6, 4, 0, 1, -3});
  const uint8_t fileHow = in.u8();
  const uint32_t flags = in.pick({0, 1}) == 1 && progressAllowed() ? 1 : 0;  // no dialogs
  fuzzProgress(in);
  std::array<int16_t, 50> kernel{};
  const auto weights = in.take(sizeof kernel);
  if (!weights.empty()) std::memcpy(kernel.data(), weights.data(), weights.size());
  const bool noKernel = in.u8() % 16 == 0;
  // The file: the kernel's own bytes cut or padded, or no file at all.
  const size_t fileBytes =
      fileHow % 4 == 0 ? 0 : (fileHow % 4 == 1 ? 2u * 7 * 7 + 2 : fileHow / 4u);
  std::string narrow = "nadiro-fuzz-missing-kernel.bin";
  std::filesystem::path path = narrow;
  if (fileBytes) {
    std::vector<uint8_t> bytes(fileBytes);
    for (size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<uint8_t>(kernel[i / 2 % 50] >> (8 * (i % 2)));
    path = kernelFile(bytes);
    narrow = path.string();
  }
  const std::wstring wide = path.wstring();
  FuzzImage image(in, {24, 4, 3}, /*boundImageSize=*/true);
  if (promisedImageBytes(image) > kPromisedLimit) return;
  uint32_t error = 0xDEAD;
  const int16_t* k = noKernel ? nullptr : kernel.data();
  const NadiroHandle out = fileHow & 0x80
                               ? ColorConvolutionW(image.handle(), newImage, luma, source, size,
                                                   wide.c_str(), k, &error, flags, nullptr)
                               : ColorConvolutionA(image.handle(), newImage, luma, source, size,
                                                   narrow.c_str(), k, &error, flags, nullptr);
  constexpr uint32_t kCodes[] = {0, 1, 8, 13, 17, 18, 19};
  FUZZ_EXPECT(std::find(std::begin(kCodes), std::end(kCodes), error) != std::end(kCodes),
              "ColorConvolution error code");
  FUZZ_EXPECT(!out || error == 0, "ColorConvolution returned an image and an error");
  if (newImage == 0) {
    FUZZ_EXPECT(!out || out == image.handle(), "ColorConvolution in place");
    image.expectIntact("ColorConvolution", 0, true);
    return;
  }
  expectImage(out, "ColorConvolution", {24, 40});
  image.expectIntact("ColorConvolution");
}

constexpr Harness kHarnesses[] = {
    {"dither", &runDither},     {"color", &runColor},       {"adjust", &runAdjust},
    {"channels", &runChannels}, {"convolve", &runConvolve}, {"engine", &runEngine},
    {"image", &runImage},
#if defined(NADIRO_FUZZ_READERS)
    {"readers", &runReaders},
#endif
};

}  // namespace

std::span<const Harness> harnesses() {
  return kHarnesses;
}

}  // namespace nadiro::fuzz
