// The exports around the adjustment cores: refusals with their codes and
// fields, depths, the companion dialogs by mode, progress and Cancel.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <ostream>
#include <string>

#include "adjust/reference.h"
#include "companions/changed_values.h"
#include "companions/companion_name.h"
#include "frame/companion.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

namespace dv = test::changed;
using Bytes = std::vector<uint8_t>;

void resetCodes(uint32_t pixelStatus = 99, uint32_t lastError = 99) {
  threadErrorBlock()->pixelStatus = pixelStatus;
  threadErrorBlock()->lastError = lastError;
}

Bytes image24(int32_t w, int32_t h, uint32_t seed = 5) { return test::ref::testImage(w, h, seed); }

Bytes imageOf(uint16_t bits, int32_t w = 6, int32_t h = 3) {
  test::DibSpec spec;
  spec.width = w;
  spec.height = h;
  spec.bits = bits;
  return test::makeDib(spec);
}

template <typename T>
void put(Bytes& b, size_t at, T v) {
  std::memcpy(b.data() + at, &v, sizeof v);
}

// The slot of a handle in the POSIX handle table: a freed slot is the next
// one handed out, so a call that frees everything it made leaves the next
// allocation where the last freed block was.
#if !defined(_WIN32)
uintptr_t slotOf(MemHandle h) {
  return reinterpret_cast<uintptr_t>(h) & ((uintptr_t{1} << (sizeof(uintptr_t) * 4)) - 1);
}
bool leavesNothingAllocated(const std::function<void()>& call) {
  MemHandle probe = memAlloc(kMemMoveableZero, 16);
  const uintptr_t slot = slotOf(probe);
  memFree(probe);
  call();
  MemHandle next = memAlloc(kMemMoveableZero, 16);
  const bool same = slotOf(next) == slot;
  memFree(next);
  return same;
}
#endif

// ---- refusals ---------------------------------------------------------------

enum class Field { PixelStatus, LastError };
struct Refusal {
  std::string name;
  std::function<MemHandle(MemHandle)> call;
  Bytes image;
  Field field;
  uint32_t code;
};

Refusal bcRefusal(std::string name, Bytes img, int b, int c, uint32_t code) {
  return {std::move(name), [=](MemHandle h) { return ColorBrightnessContrast(h, b, c, 0); },
          std::move(img), Field::PixelStatus, code};
}
Refusal lastErrorRefusal(std::string name, std::function<MemHandle(MemHandle)> call, Bytes img,
                         uint32_t code) {
  return {std::move(name), std::move(call), std::move(img), Field::LastError, code};
}

std::vector<Refusal> refusals() {
  const Bytes ok = image24(7, 3);
  Bytes core = ok, compressed = ok, empty = ok, narrow = ok, shortBlock = ok, smallSize = ok;
  put<uint32_t>(core, 0, 12);
  put<uint32_t>(compressed, 16, 1);
  put<int32_t>(empty, 4, 0);
  put<int32_t>(narrow, 8, 0);
  shortBlock.resize(shortBlock.size() - 1);
  put<uint32_t>(smallSize, 20, 20);
  Bytes oneBitCompressed = imageOf(1);
  put<uint32_t>(oneBitCompressed, 16, 2);
  const uint32_t none = NADIRO_OK;
  auto hs = [](int hue, int sat, int in, uint32_t s, uint32_t e) {
    return [=](MemHandle h) { return ColorHueSaturation(h, hue, sat, in, s, e, 0, nullptr); };
  };
  auto cmyk = [](int c, int m, int y, int k) {
    return [=](MemHandle h) { return ColorCMYKLevels(h, c, m, y, k, 0, nullptr); };
  };
  auto gamma = [](uint32_t r, uint32_t g, uint32_t b) {
    return [=](MemHandle h) { return GammaCorrection(h, r, g, b, 0, nullptr); };
  };
  auto replace = [](int hue, int sat, int in) {
    return [=](MemHandle h) { return ReplaceColor(h, 0, 0, hue, sat, in, 0, nullptr); };
  };
  auto desat = [](MemHandle h) { return Desaturate(h, 0, nullptr); };
  return {
      bcRefusal("BcCoreHeader", core, 0, 0, NADIRO_PIXEL_BAD_ARGUMENT),
      bcRefusal("BcCompressed", compressed, 0, 0, NADIRO_PIXEL_COMPRESSED),
      bcRefusal("BcCompressedBeforeOneBit", oneBitCompressed, 0, 0, NADIRO_PIXEL_COMPRESSED),
      bcRefusal("BcOneBit", imageOf(1), 0, 0, NADIRO_PIXEL_ONE_BIT),
      bcRefusal("BcWidth0", empty, 0, 0, NADIRO_PIXEL_EMPTY),
      bcRefusal("BcHeight0", narrow, 0, 0, NADIRO_PIXEL_EMPTY),
      bcRefusal("BcEmptyBeforeRange", narrow, 101, 0, NADIRO_PIXEL_EMPTY),
      bcRefusal("BcBrightness101", ok, 101, 0, NADIRO_PIXEL_BAD_ARGUMENT),
      bcRefusal("BcBrightnessMinus101", ok, -101, 0, NADIRO_PIXEL_BAD_ARGUMENT),
      bcRefusal("BcContrast101", ok, 0, 101, NADIRO_PIXEL_BAD_ARGUMENT),
      bcRefusal("BcContrastMinus101", ok, 0, -101, NADIRO_PIXEL_BAD_ARGUMENT),
      bcRefusal("BcShortBlock", shortBlock, 0, 0, NADIRO_PIXEL_BAD_ARGUMENT),
      bcRefusal("BcImageSizeTooSmall", smallSize, 0, 0, NADIRO_PIXEL_BAD_ARGUMENT),
      lastErrorRefusal("HsHue181", hs(181, 0, 0, 0, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("HsHueMinus181", hs(-181, 0, 0, 0, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("HsSaturation256", hs(0, 256, 0, 0, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("HsIntensityMinus256", hs(0, 0, -256, 0, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("HsEqualEnds", hs(0, 0, 0, 90, 90), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("HsStart361", hs(0, 0, 0, 361, 10), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("HsEnd361", hs(0, 0, 0, 0, 361), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Hs8Bit", hs(0, 0, 0, 0, 0), imageOf(8), none),
      lastErrorRefusal("Hs32Bit", hs(0, 0, 0, 0, 0), imageOf(32), none),
      lastErrorRefusal("HsShortBlock", hs(0, 0, 0, 0, 0), shortBlock, none),
      lastErrorRefusal("Cmyk101", cmyk(0, 101, 0, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("CmykMinus101", cmyk(0, 0, 0, -101), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Cmyk8Bit", cmyk(0, 0, 0, 0), imageOf(8), none),
      lastErrorRefusal("Cmyk4Bit", cmyk(0, 0, 0, 0), imageOf(4), none),
      lastErrorRefusal("Desaturate8Bit", desat, imageOf(8), none),
      lastErrorRefusal("Desaturate16Bit", desat, imageOf(16), none),
      lastErrorRefusal("DesaturateShortBlock", desat, shortBlock, none),
      lastErrorRefusal("Gamma9", gamma(100, 9, 100), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Gamma501", gamma(501, 100, 100), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Gamma0", gamma(100, 100, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Gamma8Bit", gamma(100, 100, 100), imageOf(8), none),
      lastErrorRefusal("Replace181", replace(181, 0, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("ReplaceMinus181", replace(-181, 0, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("ReplaceSaturation256", replace(0, 256, 0), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("ReplaceIntensityMinus256", replace(0, 0, -256), ok, NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Replace32Bit", replace(0, 0, 0), imageOf(32), none),
      // Settings are checked before the image is locked and its depth read.
      lastErrorRefusal("HsHue181On8Bit", hs(181, 0, 0, 0, 0), imageOf(8), NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("HsEqualEndsOn8Bit", hs(0, 0, 0, 90, 90), imageOf(8), NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Cmyk101On8Bit", cmyk(101, 0, 0, 0), imageOf(8), NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Gamma501On8Bit", gamma(100, 100, 501), imageOf(8), NADIRO_ERR_BAD_ARGUMENT),
      lastErrorRefusal("Replace181On8Bit", replace(181, 0, 0), imageOf(8), NADIRO_ERR_BAD_ARGUMENT),
  };
}

// Parameters print as their names.
void PrintTo(const Refusal& c, std::ostream* os) { *os << c.name; }

class AdjustRefusal : public testing::TestWithParam<Refusal> {};

TEST_P(AdjustRefusal, ReturnsZeroWithItsCodeInItsField) {
  const Refusal& r = GetParam();
  test::ImageHandle in(r.image);
  resetCodes();
  EXPECT_EQ(r.call(in.get()), nullptr);
  const ThreadErrorBlockData* b = threadErrorBlock();
  if (r.field == Field::PixelStatus) {
    EXPECT_EQ(b->pixelStatus, r.code);
    EXPECT_EQ(b->lastError, 99u) << "the other field is not touched";
  } else {
    EXPECT_EQ(b->lastError, r.code);
    EXPECT_EQ(b->pixelStatus, 99u) << "the other field is not touched";
  }
  EXPECT_EQ(test::blockBytes(in.get()), r.image);
  EXPECT_TRUE(test::notLocked(in.get()));
#if !defined(_WIN32)
  EXPECT_TRUE(leavesNothingAllocated([&] { r.call(in.get()); }));
#endif
}

INSTANTIATE_TEST_SUITE_P(Checks, AdjustRefusal, testing::ValuesIn(refusals()),
                         [](const testing::TestParamInfo<Refusal>& i) { return i.param.name; });

TEST(AdjustRefusal, NullAndUnlockableHandles) {
  resetCodes();
  EXPECT_EQ(ColorBrightnessContrast(nullptr, 0, 0, 0), nullptr);
  EXPECT_EQ(threadErrorBlock()->pixelStatus, uint32_t{NADIRO_PIXEL_BAD_ARGUMENT});
  resetCodes();
  EXPECT_EQ(ColorBrightnessContrast(test::garbageHandle(3), 0, 0, 0), nullptr);
  EXPECT_EQ(threadErrorBlock()->pixelStatus, uint32_t{NADIRO_PIXEL_CANNOT_LOCK});

  const std::function<MemHandle(MemHandle)> others[] = {
      [](MemHandle h) { return ColorHueSaturation(h, 0, 0, 0, 0, 0, 0, nullptr); },
      [](MemHandle h) { return ColorCMYKLevels(h, 0, 0, 0, 0, 0, nullptr); },
      [](MemHandle h) { return Desaturate(h, 0, nullptr); },
      [](MemHandle h) { return GammaCorrection(h, 100, 100, 100, 0, nullptr); },
      [](MemHandle h) { return ReplaceColor(h, 0, 0, 0, 0, 0, 0, nullptr); }};
  for (const auto& call : others) {
    resetCodes();
    EXPECT_EQ(call(nullptr), nullptr);
    EXPECT_EQ(threadErrorBlock()->lastError, uint32_t{NADIRO_ERR_BAD_ARGUMENT});
    resetCodes();
    EXPECT_EQ(call(test::garbageHandle(4)), nullptr);
    EXPECT_EQ(threadErrorBlock()->lastError, 0u) << "a failed lock sets no code";
  }
}

// ---- brightness and contrast on other depths ---------------------------------

TEST(AdjustBrightnessContrast, PalettesChangeTheirTableOnly) {
  for (uint16_t bits : {uint16_t{4}, uint16_t{8}}) {
    for (uint32_t used : {0u, 5u}) {
      test::DibSpec spec;
      spec.width = 9;
      spec.height = 4;
      spec.bits = bits;
      spec.clrUsed = used;
      spec.tableEntries = used;
      const Bytes src = test::makeDib(spec);
      test::ImageHandle in(src);
      resetCodes();
      test::ImageHandle out(ColorBrightnessContrast(in.get(), 40, -20, 0));
      ASSERT_TRUE(out);
      EXPECT_EQ(threadErrorBlock()->pixelStatus, 0u);
      EXPECT_EQ(test::blockBytes(out.get()), test::ref::brightnessContrast(src, 40, -20))
          << bits << " bits, " << used << " colours used";
    }
  }
}

TEST(AdjustBrightnessContrast, SixteenAndThirtyTwoBitsGetZeroedPixels) {
  for (uint16_t bits : {uint16_t{16}, uint16_t{32}}) {
    const Bytes src = imageOf(bits, 5, 3);
    test::ImageHandle in(src);
    resetCodes();
    test::ImageHandle out(ColorBrightnessContrast(in.get(), 50, 50, 0));
    ASSERT_TRUE(out);
    EXPECT_EQ(threadErrorBlock()->pixelStatus, 0u);
    Bytes want(src.size(), 0);
    std::copy(src.begin(), src.begin() + 40, want.begin());
    EXPECT_EQ(test::blockBytes(out.get()), want);
  }
}

TEST(AdjustBrightnessContrast, StatedImageSizeSizesTheResult) {
  Bytes src = image24(5, 3);
  const uint32_t rows = 16 * 3;
  put<uint32_t>(src, 20, rows + 8);
  src.resize(src.size() + 8, 0xAB);
  test::ImageHandle in(src);
  test::ImageHandle out(ColorBrightnessContrast(in.get(), -10, 30, 0));
  ASSERT_TRUE(out);
  EXPECT_EQ(test::blockBytes(out.get()), test::ref::brightnessContrast(src, -10, 30));
}

// ---- dialogs ----------------------------------------------------------------

using test::CompanionName;

// One export with settings, how it comes out with them and with the
// dialog's changed values, and the progress units it reports.
struct Adjustment {
  std::string name;
  std::function<MemHandle(MemHandle, int32_t mode)> call;
  std::function<Bytes(const Bytes&)> expect;
  std::function<Bytes(const Bytes&)> expectChanged;
  std::function<int32_t(int32_t width)> progressTotal;
};

int32_t widthPlusOne(int32_t w) { return w + 1; }

std::vector<Adjustment> adjustments() {
  auto factor = [](int v) { return v < 0 ? (v + 100) / 100.0 : v / 100.0 + 1.0; };
  return {
      {"HueSaturation",
       [](MemHandle h, int32_t m) { return ColorHueSaturation(h, 40, 30, -20, 0, 0, m, nullptr); },
       [](const Bytes& s) { return test::ref::hueSaturation(s, 28, 30, -20, 0, 255); },
       [](const Bytes& s) {
         return test::ref::hueSaturation(s, dv::kHueShift, dv::kSaturation, dv::kIntensity,
                                         dv::kRangeStart, dv::kRangeEnd);
       },
       widthPlusOne},
      {"CmykLevels",
       [](MemHandle h, int32_t m) { return ColorCMYKLevels(h, 20, -40, 60, -80, m, nullptr); },
       [=](const Bytes& s) {
         return test::ref::cmykLevels(s, factor(20), factor(-40), factor(60), factor(-80));
       },
       [](const Bytes& s) {
         return test::ref::cmykLevels(s, dv::kCyan, dv::kMagenta, dv::kYellow, dv::kBlack);
       },
       widthPlusOne},
      {"Desaturate", [](MemHandle h, int32_t m) { return Desaturate(h, m, nullptr); },
       [](const Bytes& s) { return test::ref::desaturate(s); },
       [](const Bytes& s) { return test::ref::desaturate(s); }, widthPlusOne},
      {"Gamma", [](MemHandle h, int32_t m) { return GammaCorrection(h, 150, 80, 30, m, nullptr); },
       [](const Bytes& s) { return test::ref::gammaCorrection(s, 150, 80, 30); },
       [](const Bytes& s) {
         return test::ref::gammaCorrection(s, dv::kGammaRed, dv::kGammaGreen, dv::kGammaBlue);
       },
       [](int32_t w) { return (w + 4) / 5 * 5; }},
      {"ReplaceColor",
       [](MemHandle h, int32_t m) {
         return ReplaceColor(h, 0x00707070, 0x00606060, 90, -50, 25, m, nullptr);
       },
       [](const Bytes& s) {
         return test::ref::replaceColor(s, 0x00707070, 0x00606060, 63, -50, 25);
       },
       [](const Bytes& s) {
         return test::ref::replaceColor(s, dv::kColour, dv::kTolerance, dv::kReplaceHue,
                                        dv::kReplaceSaturation, dv::kReplaceIntensity);
       },
       widthPlusOne},
      {"BrightnessContrast",
       [](MemHandle h, int32_t m) { return ColorBrightnessContrast(h, -30, 45, m == 2 || m == 3); },
       [](const Bytes& s) { return test::ref::brightnessContrast(s, -30, 45); },
       [](const Bytes& s) {
         return test::ref::brightnessContrast(s, dv::kBrightness, dv::kContrast);
       },
       nullptr},
  };
}

// Parameters print as their names.
void PrintTo(const Adjustment& c, std::ostream* os) { *os << c.name; }

class AdjustDialog : public testing::TestWithParam<Adjustment> {};

TEST_P(AdjustDialog, CancelReturnsZeroAndLeavesNothing) {
  const Adjustment& a = GetParam();
  const Bytes src = image24(11, 6);
  test::ImageHandle in(src);
  CompanionName name(TEST_MODULE("NadiroDlgsCancel"));
  for (int32_t mode : {2, 3}) {
    resetCodes(0, 0);
    EXPECT_EQ(a.call(in.get(), mode), nullptr) << mode;
    EXPECT_EQ(threadErrorBlock()->lastError, 0u);
    EXPECT_EQ(threadErrorBlock()->pixelStatus, 0u);
#if !defined(_WIN32)
    EXPECT_TRUE(leavesNothingAllocated([&] { a.call(in.get(), mode); }));
#endif
  }
  EXPECT_EQ(test::blockBytes(in.get()), src);
  EXPECT_TRUE(test::notLocked(in.get()));
}

TEST_P(AdjustDialog, ChangedValuesAreUsed) {
  const Adjustment& a = GetParam();
  const Bytes src = image24(23, 9, 8);
  test::ImageHandle in(src);
  CompanionName name(TEST_MODULE("NadiroDlgsChange"));
  for (int32_t mode : {2, 3}) {
    resetCodes(0, 0);
    test::ImageHandle out(a.call(in.get(), mode));
    ASSERT_TRUE(out);
    EXPECT_EQ(threadErrorBlock()->lastError, 0u);
    EXPECT_EQ(test::blockBytes(out.get()), a.expectChanged(src)) << mode;
  }
  // Other modes show no dialog.
  for (int32_t mode : {0, 1, 4, -1}) {
    test::ImageHandle out(a.call(in.get(), mode));
    ASSERT_TRUE(out);
    EXPECT_EQ(test::blockBytes(out.get()), a.expect(src)) << mode;
  }
}

TEST_P(AdjustDialog, MissingEntrySetsSevenAndGoesOn) {
  const Adjustment& a = GetParam();
  const Bytes src = image24(9, 5, 2);
  test::ImageHandle in(src);
  CompanionName name(TEST_MODULE("NadiroNoSuchCompanion"));
  resetCodes(0, 0);
  test::ImageHandle out(a.call(in.get(), 2));
  ASSERT_TRUE(out);
  EXPECT_EQ(threadErrorBlock()->lastError, uint32_t{NADIRO_ERR_NO_DIALOG_ENTRY});
  EXPECT_EQ(threadErrorBlock()->pixelStatus, 0u);
  EXPECT_EQ(test::blockBytes(out.get()), a.expect(src));
}

INSTANTIATE_TEST_SUITE_P(Exports, AdjustDialog, testing::ValuesIn(adjustments()),
                         [](const testing::TestParamInfo<Adjustment>& i) { return i.param.name; });

TEST(AdjustDialogOrder, BrightnessRangeIsCheckedAfterTheDialog) {
  const Bytes src = image24(4, 4);
  test::ImageHandle in(src);
  CompanionName name(TEST_MODULE("NadiroDlgsChange"));
  resetCodes(0, 0);
  test::ImageHandle out(ColorBrightnessContrast(in.get(), 500, -500, 1));
  ASSERT_TRUE(out) << "the dialog's values replace the out-of-range ones";
  EXPECT_EQ(test::blockBytes(out.get()),
            test::ref::brightnessContrast(src, dv::kBrightness, dv::kContrast));
}

// ---- progress and Cancel (the POSIX hook) -------------------------------------

#if !defined(_WIN32)
struct Recorder {
  int creates = 0, steps = 0, destroys = 0;
  int32_t total = -1, divisor = -1;
  int cancelAtStep = 0;  // 0: never
  bool refuse = false;
};

NadiroProgressHook hookFor(Recorder& r) {
  NadiroProgressHook h{};
  h.context = &r;
  h.create = [](void* c, NadiroWindow, int32_t total, int32_t divisor) -> int32_t {
    auto* rec = static_cast<Recorder*>(c);
    ++rec->creates;
    rec->total = total;
    rec->divisor = divisor;
    return rec->refuse ? 0 : 1;
  };
  h.step = [](void* c, int32_t) -> int32_t {
    auto* rec = static_cast<Recorder*>(c);
    return ++rec->steps == rec->cancelAtStep ? 1 : 0;
  };
  h.destroy = [](void* c) { ++static_cast<Recorder*>(c)->destroys; };
  return h;
}

class AdjustProgress : public testing::TestWithParam<Adjustment> {
 protected:
  void TearDown() override { NadiroSetProgressHook(nullptr); }
};

TEST_P(AdjustProgress, StepsEveryFiveColumns) {
  const Adjustment& a = GetParam();
  for (int32_t width : {1, 5, 6, 23}) {
    const Bytes src = image24(width, 4, uint32_t(width));
    test::ImageHandle in(src);
    Recorder r;
    const NadiroProgressHook hook = hookFor(r);
    NadiroSetProgressHook(&hook);
    test::ImageHandle out(a.call(in.get(), 1));
    ASSERT_TRUE(out);
    EXPECT_EQ(test::blockBytes(out.get()), a.expect(src));
    EXPECT_EQ(r.creates, 1);
    EXPECT_EQ(r.total, a.progressTotal(width));
    EXPECT_EQ(r.divisor, 5);
    EXPECT_EQ(r.steps, (width + 4) / 5) << "one step at every multiple of 5 below the width";
    EXPECT_EQ(r.destroys, 1);
  }
}

TEST_P(AdjustProgress, CancelReturnsZeroAndFreesTheCopy) {
  const Adjustment& a = GetParam();
  const Bytes src = image24(31, 5);
  test::ImageHandle in(src);
  for (int cancelAt : {1, 3, 7}) {
    Recorder r;
    r.cancelAtStep = cancelAt;
    const NadiroProgressHook hook = hookFor(r);
    NadiroSetProgressHook(&hook);
    resetCodes(0, 0);
    EXPECT_TRUE(leavesNothingAllocated([&] { EXPECT_EQ(a.call(in.get(), 1), nullptr); }));
    EXPECT_EQ(r.steps, cancelAt) << "no step after Cancel";
    EXPECT_EQ(r.destroys, 1);
    EXPECT_EQ(threadErrorBlock()->lastError, 0u);
    EXPECT_EQ(threadErrorBlock()->cancel, 1u);
  }
  // The next call clears the flag and works.
  NadiroSetProgressHook(nullptr);
  test::ImageHandle out(a.call(in.get(), 1));
  EXPECT_TRUE(out);
  EXPECT_EQ(test::blockBytes(in.get()), src);
  EXPECT_TRUE(test::notLocked(in.get()));
}

TEST_P(AdjustProgress, DialogThatCannotOpenFailsWithoutCode) {
  const Adjustment& a = GetParam();
  const Bytes src = image24(8, 3);
  test::ImageHandle in(src);
  Recorder r;
  r.refuse = true;
  const NadiroProgressHook hook = hookFor(r);
  NadiroSetProgressHook(&hook);
  resetCodes(0, 0);
  EXPECT_TRUE(leavesNothingAllocated([&] { EXPECT_EQ(a.call(in.get(), 3), nullptr); }));
  EXPECT_EQ(threadErrorBlock()->lastError, 0u);
  // Modes without progress never open it.
  r = Recorder{};
  for (int32_t mode : {0, 2, 4, -3}) {
    test::ImageHandle out(a.call(in.get(), mode));
    EXPECT_TRUE(out) << mode;
  }
  EXPECT_EQ(r.creates, 0);
}

// Brightness and contrast shows no progress.
std::vector<Adjustment> withProgress() {
  std::vector<Adjustment> all = adjustments(), shown;
  for (Adjustment& a : all)
    if (a.progressTotal) shown.push_back(std::move(a));
  return shown;
}

INSTANTIATE_TEST_SUITE_P(Exports, AdjustProgress, testing::ValuesIn(withProgress()),
                         [](const testing::TestParamInfo<Adjustment>& i) { return i.param.name; });
#endif

}  // namespace
}  // namespace nadiro
