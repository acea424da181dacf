// The contract every export keeps, one table row per export of the export
// list: refusal codes for null and unlockable handles, malformed blocks
// refused without a crash, the caller's image unchanged and unlocked, nothing
// leaked, progress and Cancel, and the parameter dialogs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "companions/changed_values.h"
#include "companions/test_companion.h"
#include "support/images.h"
#include "support/pixel_family.h"

namespace nadiro {
namespace {

using test::Bytes;
using test::Companion;

const char* const kExportNames[] = {
#include "export_names.inc"
};

// The undecorated name of an export-list entry ("DitherFS4@8" -> "DitherFS4").
std::string bareName(const char* entry) {
  std::string s(entry);
  return s.substr(0, s.find('@'));
}

// Where an export reports: the thread's two codes, or the convolution's
// *errorOut.
using test::lastError;
using test::pixelStatus;
uint32_t gConvolutionCode = 0;
uint32_t convolutionCode() {
  return gConvolutionCode;
}

// Runs an export on `image`; the bytes it made, nothing when it failed.
// Whatever it made is freed, newest first.
using Output = std::optional<Bytes>;
using Call = Output (*)(MemHandle image, int32_t mode);

Output made(MemHandle out, MemHandle image) {
  if (!out) return std::nullopt;
  Bytes bytes = test::blockBytes(out);
  if (out != image) memFree(out);
  return bytes;
}

template <int32_t Bits>
Bytes greyImage() {
  return test::makeDib(
      {13, 5, Bits == 0 ? uint16_t{8} : uint16_t{Bits}, 0, 0, test::Fill::Noise, 3}, true);
}
Bytes rgbImage() {
  return test::image24(13, 5, 4);
}

#define DIFFUSION(F) [](MemHandle h, int32_t) { return made(F(h, 1), h); }
#define DIFFUSION_EX(F) [](MemHandle h, int32_t) { return made(F(h, 1, 1), h); }

Output convolution(MemHandle h, int32_t flags, bool wide) {
  static const int16_t kBlur[10] = {1, 1, 1, 1, 2, 1, 1, 1, 1, 0};
  gConvolutionCode = 99;
  const MemHandle out =
      wide ? ColorConvolutionW(h, 1, 0, 1, 3, L"", kBlur, &gConvolutionCode, flags, nullptr)
           : ColorConvolutionA(h, 1, 0, 1, 3, "", kBlur, &gConvolutionCode, flags, nullptr);
  return made(out, h);
}

Output split(MemHandle h, int32_t) {
  MemHandle channels[4] = {};
  const uint32_t n = SplitColorChannels(h, channels, 1);
  Bytes all;
  for (int i = 3; i >= 0; --i) {
    if (!channels[i]) continue;
    const Bytes one = test::blockBytes(channels[i]);
    all.insert(all.end(), one.begin(), one.end());
    memFree(channels[i]);
  }
  return n != 0 ? Output(all) : std::nullopt;
}

Output merge(MemHandle h, int32_t) {
  test::ImageHandle second(greyImage<8>()), third(greyImage<8>()), dest(rgbImage());
  if (MergeColorChannels(h, second.get(), third.get(), nullptr, dest.get(), 1) != 1)
    return std::nullopt;
  return test::blockBytes(dest.get());
}

struct ImageExport {
  const char* name;
  Call call;
  Bytes (*image)();    // an image it accepts
  uint32_t (*code)();  // where it reports (none: it sets no code)
  uint32_t nullCode, garbageCode;
  bool depthRefusalKeepsLock = false;  // a refused depth leaves the image locked
  bool progress = false;               // mode 1 shows progress
  // Mode 2 asks the companion: the call with the values its "change" kind
  // leaves (none: no dialog).
  Call changed = nullptr;
};

namespace v = test::changed;

const ImageExport kImageExports[] = {
    {"DitherOrdered", [](MemHandle h, int32_t) { return made(DitherOrdered(h, 4), h); },
     greyImage<8>, nullptr, 0, 0},
    {"DitherFS4", DIFFUSION(DitherFS4), greyImage<8>, pixelStatus, 8, 17},
    {"DitherFS4Ex", DIFFUSION_EX(DitherFS4Ex), greyImage<8>, pixelStatus, 8, 17},
    {"DitherJJN", DIFFUSION(DitherJJN), greyImage<8>, pixelStatus, 8, 17},
    {"DitherJJNEx", DIFFUSION_EX(DitherJJNEx), greyImage<8>, pixelStatus, 8, 17},
    {"DitherStucki", DIFFUSION(DitherStucki), rgbImage, pixelStatus, 8, 17},
    {"DitherBurkes", DIFFUSION(DitherBurkes), rgbImage, pixelStatus, 8, 17},
    {"DitherSierra", DIFFUSION(DitherSierra), greyImage<4>, pixelStatus, 8, 17},
    {"DitherSA", DIFFUSION(DitherSA), rgbImage, pixelStatus, 8, 17},
    {"DitherSharp", DIFFUSION(DitherSharp), greyImage<8>, pixelStatus, 17, 1, true},
    {"DitherSmooth", DIFFUSION(DitherSmooth), rgbImage, pixelStatus, 17, 1, true},
    {"ColorBrightnessContrast",
     [](MemHandle h, int32_t m) { return made(ColorBrightnessContrast(h, -30, 45, m & 2), h); },
     rgbImage, pixelStatus, 8, 17, false, false,
     [](MemHandle h, int32_t) {
       return made(ColorBrightnessContrast(h, v::kBrightness, v::kContrast, 0), h);
     }},
    {"ColorHueSaturation",
     [](MemHandle h, int32_t m) {
       return made(ColorHueSaturation(h, 40, 30, -20, 0, 0, m, nullptr), h);
     },
     rgbImage, lastError, 4, 0, false, true,
     [](MemHandle h, int32_t) {  // 30, 15 and 283 degrees are bytes 21, 10 and 200
       return made(ColorHueSaturation(h, 30, v::kSaturation, v::kIntensity, 15, 283, 0, nullptr),
                   h);
     }},
    {"ColorCMYKLevels",
     [](MemHandle h, int32_t m) {
       return made(ColorCMYKLevels(h, 20, -40, 60, -80, m, nullptr), h);
     },
     rgbImage, lastError, 4, 0, false, true,
     [](MemHandle h, int32_t) {  // factors 0.25, 1.5, 0.75, 2
       return made(ColorCMYKLevels(h, -75, 50, -25, 100, 0, nullptr), h);
     }},
    {"Desaturate", [](MemHandle h, int32_t m) { return made(Desaturate(h, m, nullptr), h); },
     rgbImage, lastError, 4, 0, false, true,
     [](MemHandle h, int32_t) { return made(Desaturate(h, 0, nullptr), h); }},
    {"GammaCorrection",
     [](MemHandle h, int32_t m) { return made(GammaCorrection(h, 150, 80, 30, m, nullptr), h); },
     rgbImage, lastError, 4, 0, false, true,
     [](MemHandle h, int32_t) {
       return made(GammaCorrection(h, v::kGammaRed, v::kGammaGreen, v::kGammaBlue, 0, nullptr), h);
     }},
    {"ReplaceColor",
     [](MemHandle h, int32_t m) {
       return made(ReplaceColor(h, 0x00707070, 0x00606060, 90, -50, 25, m, nullptr), h);
     },
     rgbImage, lastError, 4, 0, false, true,
     [](MemHandle h, int32_t) {  // -180 degrees is byte -127
       return made(ReplaceColor(h, v::kColour, v::kTolerance, -180, v::kReplaceSaturation,
                                v::kReplaceIntensity, 0, nullptr),
                   h);
     }},
    {"ConvertDIBColorSpace",
     [](MemHandle h, int32_t m) { return made(ConvertDIBColorSpace(h, 1, 6, m & 1, nullptr), h); },
     rgbImage, lastError, 0, 0, false, true},
    {"SplitColorChannels", split, rgbImage, lastError, 4, 2},
    {"MergeColorChannels", merge, greyImage<8>, lastError, 4, 2},
    {"ColorConvolutionW", [](MemHandle h, int32_t m) { return convolution(h, m, true); }, rgbImage,
     convolutionCode, 8, 17, false, true,
     [](MemHandle h, int32_t) { return convolution(h, 0, true); }},
    {"ColorConvolutionA", [](MemHandle h, int32_t m) { return convolution(h, m, false); }, rgbImage,
     convolutionCode, 8, 17, false, true,
     [](MemHandle h, int32_t) { return convolution(h, 0, false); }},
};

void PrintTo(const ImageExport& e, std::ostream* os) {
  *os << e.name;
}

// The image through the call must come back as it was and unlocked; a call
// that fails must free all it made. (A call that succeeds may leave the
// handle table's free slots in another order, so it is not judged.)
Output expectCallerUntouched(const ImageExport& e, const Bytes& bytes, int32_t mode, bool quirk) {
  test::ImageHandle image(bytes);
  Output out;
  const bool clean = test::leavesNothingAllocated([&] { out = e.call(image.get(), mode); });
  if (!out) {
    EXPECT_TRUE(clean) << e.name << " leaks when it fails";
  }
  EXPECT_EQ(test::blockBytes(image.get()), bytes) << e.name << " changed the caller's image";
  if (!quirk) {
    EXPECT_TRUE(test::notLocked(image.get())) << e.name << " left the image locked";
  }
  return out;
}

class ImageContract : public testing::TestWithParam<ImageExport> {};

TEST_P(ImageContract, AcceptsItsImageAndLeavesItAlone) {
  const ImageExport& e = GetParam();
  EXPECT_TRUE(expectCallerUntouched(e, e.image(), 0, false).has_value()) << e.name;
}

TEST_P(ImageContract, NullAndUnlockableHandlesAreRefusedWithTheirCodes) {
  const ImageExport& e = GetParam();
  const std::pair<MemHandle, uint32_t> cases[] = {{nullptr, e.nullCode},
                                                  {test::garbageHandle(7), e.garbageCode}};
  for (const auto& [handle, code] : cases) {
    test::resetCodes();
    EXPECT_FALSE(e.call(handle, 0).has_value()) << e.name;
    if (e.code) {
      EXPECT_EQ(e.code(), code) << e.name << (handle ? " unlockable" : " null");
    }
    // The thread's other codes keep what they held.
    EXPECT_TRUE(e.code == lastError || lastError() == 99u) << e.name;
    EXPECT_TRUE(e.code == pixelStatus || pixelStatus() == 99u) << e.name;
  }
}

// Truncated blocks and damaged headers: refused or processed, never read or
// written outside the block (the sanitiser build watches), never a change to
// the caller's block.
TEST_P(ImageContract, MalformedBlocksNeitherCrashNorChangeTheImage) {
  const ImageExport& e = GetParam();
  const Bytes good = e.image();
  std::vector<Bytes> damaged;
  for (size_t keep : {size_t{0}, size_t{4}, size_t{39}, size_t{40}, size_t{41}, good.size() - 1}) {
#if defined(_WIN32)
    if (keep == 0) continue;  // a zero-byte movable block is a discarded one that never locks
#endif
    damaged.emplace_back(good.begin(), good.begin() + static_cast<ptrdiff_t>(keep));
  }
  struct Poke {
    size_t at;
    uint32_t value;
  };
  for (Poke p :
       {Poke{0, 12}, Poke{0, 0}, Poke{4, 0x7FFFFFFF}, Poke{4, 0x80000000}, Poke{8, 0xFFFFFFFF},
        Poke{8, 100000}, Poke{16, 1}, Poke{20, 0xFFFFFF00}, Poke{32, 0x10000}}) {
    Bytes b = good;
    test::put<uint32_t>(b, p.at, p.value);
    damaged.push_back(std::move(b));
  }
  for (uint16_t bits : {0, 2, 7, 64}) {
    Bytes b = good;
    test::put<uint16_t>(b, 14, bits);
    damaged.push_back(std::move(b));
  }
  for (const Bytes& b : damaged) expectCallerUntouched(e, b, 0, e.depthRefusalKeepsLock);
}

#if !defined(_WIN32)
class ProgressContract : public testing::TestWithParam<ImageExport> {};

TEST_P(ProgressContract, OpensStepsClosesAndCancels) {
  const ImageExport& e = GetParam();
  const Bytes bytes = test::image24(61, 23, 9);
  test::ImageHandle image(bytes);
  {
    test::ProgressRecorder r;
    EXPECT_TRUE(e.call(image.get(), 1).has_value());
    EXPECT_EQ(r.creates, 1);
    EXPECT_GT(r.steps, 1);
    EXPECT_EQ(r.destroys, 1);
    for (size_t i = 1; i < r.positions.size(); ++i)
      EXPECT_EQ(r.positions[i], r.positions[i - 1] + 1) << "the bar moves one step at a time";
  }
  {
    test::ProgressRecorder none;
    EXPECT_TRUE(e.call(image.get(), 0).has_value());
    EXPECT_EQ(none.creates, 0) << "mode 0 shows nothing";
  }
  for (int cancelAt : {1, 2}) {
    test::ProgressRecorder r;
    r.cancelAtStep = cancelAt;
    EXPECT_FALSE(expectCallerUntouched(e, bytes, 1, false)) << e.name << ": a cancelled call fails";
    EXPECT_EQ(r.steps, cancelAt) << e.name << ": no step after Cancel";
    EXPECT_EQ(r.destroys, 1);
  }
  {
    test::ProgressRecorder refused;
    refused.refuse = true;
    EXPECT_FALSE(expectCallerUntouched(e, bytes, 1, false)) << e.name << ": no dialog, no result";
  }
  EXPECT_TRUE(e.call(image.get(), 0).has_value()) << "the next call works again";
}
#endif

class DialogContract : public testing::TestWithParam<ImageExport> {};

TEST_P(DialogContract, CancelsChangesOrGoesOnWhenMissing) {
  const ImageExport& e = GetParam();
  const Bytes bytes = test::image24(17, 6, 2);
  test::ImageHandle image(bytes);
  auto outputOf = [&](Call call, int32_t mode) {
    test::ImageHandle copy(bytes);  // in-place calls change their image
    return call(copy.get(), mode);
  };
  const Output plain = outputOf(e.call, 0);
  ASSERT_TRUE(plain);
  {
    test::TestCompanion cancel(Companion::Cancel);
    ASSERT_TRUE(cancel);
    test::resetCodes(0, 0);
    EXPECT_FALSE(e.call(image.get(), 2).has_value()) << e.name;
    EXPECT_EQ(cancel.lastImage(), image.get()) << "the dialog sees the caller's image";
    EXPECT_EQ(test::lastError(), 0u);
    EXPECT_EQ(test::pixelStatus(), 0u);
    EXPECT_FALSE(expectCallerUntouched(e, bytes, 2, false));
  }
  {
    test::TestCompanion change(Companion::Change);
    ASSERT_TRUE(change);
    test::resetCodes(0, 0);
    const Output accepted = outputOf(e.call, 2);
    EXPECT_EQ(test::lastError(), 0u) << e.name;
    EXPECT_EQ(accepted, outputOf(e.changed, 0)) << e.name << ": the dialog's values are used";
  }
  for (Companion kind : {Companion::Partial, Companion::Cancel}) {
    // Partial lacks every entry but Desaturate's; with no module at all (the
    // scope below ends before the call) the entry is missing as well.
    std::optional<test::TestCompanion> partial;
    if (kind == Companion::Partial) partial.emplace(kind);
    if (std::string(e.name) == "Desaturate" && partial) continue;
    test::resetCodes(0, 0);
    EXPECT_EQ(outputOf(e.call, 2), plain) << e.name << ": goes on with the values passed";
    EXPECT_EQ(test::lastError(), uint32_t{NADIRO_ERR_NO_DIALOG_ENTRY}) << e.name;
  }
  EXPECT_EQ(test::blockBytes(image.get()), bytes);
}

// The rows that show progress, or those that ask the companion.
std::vector<ImageExport> rowsWith(bool dialog) {
  std::vector<ImageExport> rows;
  for (const ImageExport& e : kImageExports)
    if (dialog ? e.changed != nullptr : e.progress) rows.push_back(e);
  return rows;
}
std::string rowName(const testing::TestParamInfo<ImageExport>& i) {
  return i.param.name;
}

INSTANTIATE_TEST_SUITE_P(Exports, ImageContract, testing::ValuesIn(kImageExports), rowName);
#if !defined(_WIN32)
INSTANTIATE_TEST_SUITE_P(Exports, ProgressContract, testing::ValuesIn(rowsWith(false)), rowName);
#endif
INSTANTIATE_TEST_SUITE_P(Exports, DialogContract, testing::ValuesIn(rowsWith(true)), rowName);

// Every name of the export list is covered: an image row above, a member of
// the pixel-conversion family (checked below and in color/), or one of the
// remaining three.
TEST(ExportList, EveryExportHasAContractRow) {
  std::set<std::string> covered = {"GetNadiroVersion", "ConvertColorSpace",
                                   "GetLastColorConvertError"};
  for (const ImageExport& e : kImageExports) covered.insert(e.name);
  for (const test::PixelMember& m : test::kPixelFamily) covered.insert(m.name);
  std::set<std::string> listed;
  for (const char* entry : kExportNames) listed.insert(bareName(entry));
  EXPECT_EQ(listed.size(), 97u);
  EXPECT_EQ(covered, listed);
}

// The pixel conversions only read their record and set no code.
TEST(PixelFamily, ReadsTheRecordAndSetsNoCode) {
  for (const test::PixelMember& m : test::kPixelFamily) {
    const uint8_t in[4] = {12, 200, 77, 31};
    uint8_t record[4];
    std::memcpy(record, in, 4);
    test::resetCodes();
    m.run(record);
    EXPECT_EQ(std::memcmp(record, in, 4), 0) << m.name;
    EXPECT_EQ(test::lastError(), 99u) << m.name;
    EXPECT_EQ(test::pixelStatus(), 99u) << m.name;
  }
}

TEST(LastError, ReadsTheThreadsCode) {
  for (uint32_t code : {0u, 4u, 8u}) {
    test::resetCodes(0, code);
    EXPECT_EQ(GetLastColorConvertError(), code);
  }
}

}  // namespace
}  // namespace nadiro
