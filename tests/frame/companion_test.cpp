// The companion loader and the parameter-dialog rule, against the shipped
// companion and the test companions (cancel, change, partial).
#include "frame/companion.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "companions/changed_values.h"
#include "companions/companion_name.h"

namespace nadiro {
namespace {

namespace v = test::changed;

using test::CompanionName;

// Every variable a dialog can see, with the values an export would pass.
struct Variables {
  int32_t brightness = -5, contrast = 60;
  double cyan = 1.0, magenta = 0.5, yellow = 1.25, black = 0.0;
  int32_t hueShift = 3, saturation = 4, intensity = -6;
  uint32_t rangeStart = 0, rangeEnd = 255;
  uint32_t red = 100, green = 110, blue = 120;
  int32_t replaceHue = 12, replaceSaturation = -3, replaceIntensity = 9;
  uint32_t colour = 0x00AABBCC, tolerance = 0x00010203;
  int16_t kernel[10] = {1, 2, 1, 2, 4, 2, 1, 2, 1, 16};
  uint32_t errorOut = 0;
  bool operator==(const Variables&) const = default;
};

NadiroHandle imageArgument() {
  return reinterpret_cast<NadiroHandle>(uintptr_t{0x4D2});
}
const wchar_t kKernelFile[] = L"edges.krn";

// One call of each entry point through the shared rule, by name.
using Dialog = DialogResult (*)(Variables&);
struct DialogCase {
  const char* entry;
  Dialog show;
};

const DialogCase kDialogs[] = {
    {"CONTRASTUI",
     [](Variables& x) {
       return showCompanionDialog(companion::kContrastUi, imageArgument(), &x.brightness,
                                  &x.contrast);
     }},
    {"ColorCMYKLevelsUI",
     [](Variables& x) {
       return showCompanionDialog(companion::kCmykLevelsUi, imageArgument(), &x.cyan, &x.magenta,
                                  &x.yellow, &x.black);
     }},
    {"ColorHueSaturationUI",
     [](Variables& x) {
       return showCompanionDialog(companion::kHueSaturationUi, imageArgument(), &x.hueShift,
                                  &x.saturation, &x.intensity, &x.rangeStart, &x.rangeEnd);
     }},
    {"DesaturateUI",
     [](Variables&) { return showCompanionDialog(companion::kDesaturateUi, imageArgument()); }},
    {"GammaCorrectionUI",
     [](Variables& x) {
       return showCompanionDialog(companion::kGammaCorrectionUi, imageArgument(), &x.red, &x.green,
                                  &x.blue);
     }},
    {"ReplaceColorUI",
     [](Variables& x) {
       return showCompanionDialog(companion::kReplaceColorUi, imageArgument(), &x.replaceHue,
                                  &x.replaceSaturation, &x.replaceIntensity, &x.colour,
                                  &x.tolerance);
     }},
    {"ColorConvUIW",
     [](Variables& x) {
       return showCompanionDialog(companion::kColorConvUi, imageArgument(), 1u, 1, 2u, 5,
                                  kKernelFile, x.kernel, &x.errorOut);
     }},
};

// What the "change" companion leaves behind after a given dialog.
Variables changedBy(const std::string& entry, Variables x) {
  if (entry == "CONTRASTUI") {
    x.brightness = v::kBrightness;
    x.contrast = v::kContrast;
  } else if (entry == "ColorCMYKLevelsUI") {
    x.cyan = v::kCyan;
    x.magenta = v::kMagenta;
    x.yellow = v::kYellow;
    x.black = v::kBlack;
  } else if (entry == "ColorHueSaturationUI") {
    x.hueShift = v::kHueShift;
    x.saturation = v::kSaturation;
    x.intensity = v::kIntensity;
    x.rangeStart = v::kRangeStart;
    x.rangeEnd = v::kRangeEnd;
  } else if (entry == "GammaCorrectionUI") {
    x.red = v::kGammaRed;
    x.green = v::kGammaGreen;
    x.blue = v::kGammaBlue;
  } else if (entry == "ReplaceColorUI") {
    x.replaceHue = v::kReplaceHue;
    x.replaceSaturation = v::kReplaceSaturation;
    x.replaceIntensity = v::kReplaceIntensity;
    x.colour = v::kColour;
    x.tolerance = v::kTolerance;
  } else if (entry == "ColorConvUIW") {
    x.errorOut = v::convolutionEcho(1, 1, 2, 5);
    x.kernel[0] = static_cast<int16_t>(std::wcslen(kKernelFile));
  }
  return x;
}

class CompanionDialog : public testing::TestWithParam<DialogCase> {
 protected:
  void SetUp() override { ThreadErrorBlock()->lastError = kUntouched; }
  void TearDown() override { ThreadErrorBlock()->lastError = 0; }
  static constexpr uint32_t kUntouched = 0xC0DE;
};

#if !defined(_WIN32)
// Without a windowing system the shipped module accepts the caller's values
// (on Windows it shows its dialogs: companion_dialogs_win32_test.cpp).
TEST_P(CompanionDialog, ShippedModuleAcceptsAndChangesNothing) {
  Variables x;
  EXPECT_EQ(GetParam().show(x), DialogResult::Ok);
  EXPECT_TRUE(x == Variables{});
  EXPECT_EQ(ThreadErrorBlock()->lastError, kUntouched);
}
#endif

TEST_P(CompanionDialog, CancelLeavesValuesAndCodes) {
  CompanionName name(TEST_MODULE("NadiroDlgsCancel"));
  Variables x;
  EXPECT_EQ(GetParam().show(x), DialogResult::Cancelled);
  EXPECT_TRUE(x == Variables{});
  EXPECT_EQ(ThreadErrorBlock()->lastError, kUntouched);
}

TEST_P(CompanionDialog, AcceptedValuesComeBack) {
  CompanionName name(TEST_MODULE("NadiroDlgsChange"));
  // Keeps the module loaded across the call to ask it what it was given.
  CompanionModule probe;
  auto lastImage = reinterpret_cast<NadiroHandle(NADIRO_CALL*)()>(probe.find("TestLastImage"));
  ASSERT_NE(lastImage, nullptr);
  Variables x;
  EXPECT_EQ(GetParam().show(x), DialogResult::Ok);
  EXPECT_TRUE(x == changedBy(GetParam().entry, Variables{}));
  EXPECT_EQ(lastImage(), imageArgument());
  EXPECT_EQ(ThreadErrorBlock()->lastError, kUntouched);
}

TEST_P(CompanionDialog, MissingEntryPointSetsCode7AndGoesOn) {
  CompanionName name(TEST_MODULE("NadiroDlgsPartial"));
  Variables x;
  const DialogResult r = GetParam().show(x);
  EXPECT_TRUE(x == Variables{});
  if (std::string(GetParam().entry) == "DesaturateUI") {
    EXPECT_EQ(r, DialogResult::Ok) << "the one entry this module has";
    EXPECT_EQ(ThreadErrorBlock()->lastError, kUntouched);
  } else {
    EXPECT_EQ(r, DialogResult::Missing);
    EXPECT_EQ(ThreadErrorBlock()->lastError, uint32_t{NADIRO_ERR_NO_DIALOG_ENTRY});
  }
}

TEST_P(CompanionDialog, MissingModuleSetsCode7AndGoesOn) {
  CompanionName name(TEST_MODULE("NadiroDlgsNowhere"));
  Variables x;
  EXPECT_EQ(GetParam().show(x), DialogResult::Missing);
  EXPECT_TRUE(x == Variables{});
  EXPECT_EQ(ThreadErrorBlock()->lastError, uint32_t{NADIRO_ERR_NO_DIALOG_ENTRY});
}

INSTANTIATE_TEST_SUITE_P(EveryEntryPoint, CompanionDialog, testing::ValuesIn(kDialogs),
                         [](const testing::TestParamInfo<DialogCase>& c) {
                           return std::string(c.param.entry);
                         });

TEST(CompanionModule, ShippedModuleHasEveryEntryPoint) {
  CompanionModule m;
  ASSERT_TRUE(m) << "the companion is found in the folder of the library's module";
  for (const DialogCase& d : kDialogs) EXPECT_NE(m.find(d.entry), nullptr) << d.entry;
  EXPECT_EQ(m.find("NoSuchDialogUI"), nullptr);
}

TEST(CompanionModule, FallsBackToTheNormalSearch) {
  // Not in the library's folder: only the platform's search finds it.
#if defined(_WIN32)
  CompanionName name("kernel32.dll");
  const char* symbol = "GetTickCount";
#else
  CompanionName name("libm.so.6");
  const char* symbol = "cos";
#endif
  CompanionModule m;
  ASSERT_TRUE(m);
  EXPECT_NE(m.find(symbol), nullptr);
}

TEST(CompanionModule, ReleaseIsIdempotentAndEmptiesIt) {
  CompanionModule m;
  ASSERT_TRUE(m);
  m.release();
  EXPECT_FALSE(m);
  EXPECT_EQ(m.find("DesaturateUI"), nullptr);
  m.release();
  EXPECT_FALSE(m);
}

}  // namespace
}  // namespace nadiro
