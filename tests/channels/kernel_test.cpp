// The convolution's argument contract: every refusal and its code, the
// kernel limits, the kernel file, the narrow form, the parameter dialog and
// the progress dialog.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

#include "channels/convolution_reference.h"
#include "frame/companion.h"
#include "frame/dib.h"
#include "frame/memory.h"
#include "frame/thread_state.h"
#include "nadiro/nadiro.h"
#include "support/images.h"

namespace nadiro {
namespace {

std::vector<uint8_t> rgbImage(int32_t w, int32_t h, uint32_t seed = 1) {
  return test::makeDib({.width = w, .height = h, .bits = 24, .seed = seed});
}

// The 3x3 kernel used where the kernel does not matter: a light blur.
const std::vector<int16_t> kBlur = {1, 1, 1, 1, 2, 1, 1, 1, 1, 0};

struct Call {
  uint32_t newImage = 1;
  int32_t lumaMode = 0;
  uint32_t source = 1;
  int32_t size = 3;
  const wchar_t* fileName = nullptr;
  const int16_t* kernel = kBlur.data();
  uint32_t flags = 0;
};

// Runs the wide export on a copy of `image`; returns the error code and
// whether a handle came back. The caller's image must come back unchanged
// and unlocked after every refusal.
struct Result {
  bool ok;
  uint32_t error;
};
Result run(const std::vector<uint8_t>& image, const Call& c) {
  test::ImageHandle source(image);
  uint32_t error = 99;
  const MemHandle out = ColorConvolutionW(source.get(), c.newImage, c.lumaMode, c.source, c.size,
                                          c.fileName, c.kernel, &error, c.flags, nullptr);
  if (!out) {
    EXPECT_EQ(test::blockBytes(source.get()), image) << "refusal changed the image";
  }
  EXPECT_TRUE(test::notLocked(source.get()));
  if (out && out != source.get()) memFree(out);
  return {out != nullptr, error};
}

std::vector<uint8_t> withField32(std::vector<uint8_t> image, size_t offset, uint32_t v) {
  std::memcpy(image.data() + offset, &v, 4);
  return image;
}
std::vector<uint8_t> withField16(std::vector<uint8_t> image, size_t offset, uint16_t v) {
  std::memcpy(image.data() + offset, &v, 2);
  return image;
}

TEST(ConvolutionRefusals, NullAndUnlockableHandles) {
  uint32_t error = 99;
  EXPECT_EQ(ColorConvolutionW(nullptr, 1, 0, 1, 3, nullptr, kBlur.data(), &error, 0, nullptr),
            nullptr);
  EXPECT_EQ(error, 8u);
  error = 99;
  EXPECT_EQ(ColorConvolutionW(test::garbageHandle(3), 1, 0, 1, 3, nullptr, kBlur.data(), &error,
                              0, nullptr),
            nullptr);
  EXPECT_EQ(error, 17u);
}

TEST(ConvolutionRefusals, ImageChecksInOrder) {
  const auto good = rgbImage(5, 3);
  struct Case {
    const char* what;
    std::vector<uint8_t> image;
    uint32_t code;
  };
  auto shortBlock = good;
  shortBlock.resize(40 + 16);
  auto tiny = good;
  tiny.resize(30);
  const Case cases[] = {
      {"header size 12", withField32(good, 0, 12), 8},
      {"header size 124", withField32(good, 0, 124), 8},
      {"compressed", withField32(good, 16, 1), 18},
      {"compressed and 8-bit", withField16(withField32(good, 16, 3), 14, 8), 18},
      {"8 bits", withField16(good, 14, 8), 13},
      {"32 bits", withField16(good, 14, 32), 13},
      {"width 0", withField32(good, 4, 0), 19},
      {"height 0", withField32(good, 8, 0), 19},
      {"negative height", withField32(good, 8, static_cast<uint32_t>(-3)), 8},
      {"rows past the block", shortBlock, 8},
      {"block shorter than a header", tiny, 8},
      {"image size too small for a new image", withField32(good, 20, 8), 8},
  };
  for (const Case& c : cases) {
    const Result r = run(c.image, {});
    EXPECT_FALSE(r.ok) << c.what;
    EXPECT_EQ(r.error, c.code) << c.what;
  }
  // A small image-size field matters only for a new image.
  const Result inPlace = run(withField32(good, 20, 8), {.newImage = 0});
  EXPECT_TRUE(inPlace.ok);
  EXPECT_EQ(inPlace.error, 0u);
}

TEST(ConvolutionRefusals, KernelSourceAndSize) {
  const auto image = rgbImage(6, 6);
  const std::vector<int16_t> big(50, 0);
  struct Case {
    const char* what;
    Call call;
    bool ok;
  };
  const Case cases[] = {
      {"source 0", {.source = 0}, false},
      {"source 7", {.source = 7}, false},
      {"array without pointer", {.source = 1, .kernel = nullptr}, false},
      {"file without name", {.source = 2, .fileName = nullptr}, false},
      {"size 2", {.size = 2}, false},
      {"size 8", {.size = 8}, false},
      {"size -3", {.size = -3}, false},
      {"size 4", {.source = 1, .size = 4, .kernel = big.data()}, false},
      {"size 6 with the array", {.source = 1, .size = 6, .kernel = big.data()}, false},
      {"size 4 mean", {.source = 3, .size = 4}, false},
      {"size 4 Gaussian", {.source = 4, .size = 4}, false},
      {"size 7 Gaussian", {.source = 4, .size = 7}, false},
      {"size 7 sharpen", {.source = 5, .size = 7}, false},
      {"size 6 sharpen", {.source = 6, .size = 6}, false},
      {"size 7 file", {.source = 2, .size = 7, .fileName = L"x"}, false},
      {"size 7 array", {.source = 1, .size = 7, .kernel = big.data()}, true},
      {"size 7 mean", {.source = 3, .size = 7}, true},
      {"size 5 Gaussian", {.source = 4, .size = 5}, true},
      {"source with high bits", {.source = 0x10003}, true},
      {"size with high bits", {.size = 0x70005, .kernel = big.data()}, true},
      {"built-in needs no array", {.source = 6, .kernel = nullptr}, true},
  };
  for (const Case& c : cases) {
    const Result r = run(image, c.call);
    EXPECT_EQ(r.ok, c.ok) << c.what;
    EXPECT_EQ(r.error, c.ok ? 0u : 8u) << c.what;
  }
}

std::vector<int16_t> kernelWith(int n, std::initializer_list<std::pair<int, int16_t>> values,
                                int16_t divisor = 1) {
  std::vector<int16_t> k(static_cast<size_t>(n * n + 1), 0);
  for (auto [i, v] : values) k[static_cast<size_t>(i)] = v;
  k.back() = divisor;
  return k;
}

TEST(ConvolutionRefusals, KernelLimits) {
  const auto image = rgbImage(4, 4);
  struct Case {
    const char* what;
    std::vector<int16_t> kernel;
    bool ok;
  };
  std::vector<int16_t> positives128(50, 0), positives127(50, 0), negatives128(50, 0);
  for (int i = 0; i < 49; ++i) {
    positives128[size_t(i)] = i < 30 ? 4 : (i == 30 ? 8 : 0);  // 120 + 8 = 128
    positives127[size_t(i)] = i < 30 ? 4 : (i == 30 ? 7 : 0);
    negatives128[size_t(i)] = i < 32 ? -4 : 0;
  }
  positives128[49] = positives127[49] = negatives128[49] = 1;
  const Case cases[] = {
      {"one weight 127", kernelWith(3, {{4, 127}}), true},
      {"one weight -127", kernelWith(3, {{4, -127}}), true},
      {"one weight 128", kernelWith(3, {{4, 128}}), false},
      {"one weight -128", kernelWith(3, {{4, -128}}), false},
      {"weight -32768", kernelWith(3, {{0, -32768}}), false},
      {"positives 127 and negatives 127", kernelWith(3, {{0, 100}, {1, 27}, {2, -127}}), true},
      {"positives summing 128", kernelWith(3, {{0, 64}, {1, 64}}), false},
      {"negatives summing -128", kernelWith(3, {{0, -100}, {8, -28}}), false},
      {"small positives summing 128 (7x7)", positives128, false},
      {"small positives summing 127 (7x7)", positives127, true},
      {"small negatives summing -128 (7x7)", negatives128, false},
  };
  for (const Case& c : cases) {
    const int n = c.kernel.size() == 50 ? 7 : 3;
    const Result r = run(image, {.size = n, .kernel = c.kernel.data()});
    EXPECT_EQ(r.ok, c.ok) << c.what;
    EXPECT_EQ(r.error, c.ok ? 0u : 8u) << c.what;
  }
}

TEST(Convolution, ErrorOutIsClearedAndOptional) {
  const auto image = rgbImage(3, 3);
  test::ImageHandle source(image);
  EXPECT_EQ(ColorConvolutionW(source.get(), 0, 0, 3, 3, nullptr, nullptr, nullptr, 0, nullptr),
            source.get());
  EXPECT_EQ(ColorConvolutionW(nullptr, 0, 0, 3, 3, nullptr, nullptr, nullptr, 0, nullptr),
            nullptr);
}

TEST(Convolution, LeavesTheLastErrorAlone) {
  const auto image = rgbImage(3, 3);
  setLastError(5);
  EXPECT_TRUE(run(image, {}).ok);
  EXPECT_FALSE(run(image, {.source = 9}).ok);
  EXPECT_EQ(GetLastColorConvertError(), 5u);
  setLastError(0);
}

// ---------------------------------------------------------------------------
// Kernel files
// ---------------------------------------------------------------------------

class KernelFiles : public testing::Test {
 protected:
  void TearDown() override {
    for (const auto& f : files_) std::remove(f.c_str());
  }
  std::string write(const std::string& name, const std::vector<uint8_t>& bytes) {
    const std::string path = testing::TempDir() + name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    files_.push_back(path);
    return path;
  }
  static std::vector<uint8_t> littleEndian(const std::vector<int16_t>& values) {
    std::vector<uint8_t> bytes;
    for (int16_t v : values) {
      bytes.push_back(static_cast<uint8_t>(v & 0xFF));
      bytes.push_back(static_cast<uint8_t>((static_cast<uint16_t>(v) >> 8) & 0xFF));
    }
    return bytes;
  }
  static std::wstring wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

  // Filters `image` with the file's kernel (narrow and wide names) and with
  // the same values as an array; both must agree.
  void expectSameAsArray(const std::string& path, const std::vector<int16_t>& values, int n,
                         const std::vector<uint8_t>& image) {
    test::ImageHandle byArray(image), byWide(image), byNarrow(image);
    uint32_t e1 = 9, e2 = 9, e3 = 9;
    ASSERT_TRUE(ColorConvolutionW(byArray.get(), 0, 1, 1, n, nullptr, values.data(), &e1, 0,
                                  nullptr));
    const std::wstring w = wide(path);
    EXPECT_TRUE(ColorConvolutionW(byWide.get(), 0, 1, 2, n, w.c_str(), nullptr, &e2, 0, nullptr));
    EXPECT_TRUE(ColorConvolutionA(byNarrow.get(), 0, 1, 2, n, path.c_str(), nullptr, &e3, 0,
                                  nullptr));
    EXPECT_EQ(e2, 0u);
    EXPECT_EQ(e3, 0u);
    EXPECT_EQ(test::blockBytes(byWide.get()), test::blockBytes(byArray.get()));
    EXPECT_EQ(test::blockBytes(byNarrow.get()), test::blockBytes(byArray.get()));
  }

  std::vector<std::string> files_;
};

TEST_F(KernelFiles, ValidFilesMatchTheArray) {
  std::mt19937 rng(5);
  const auto image = rgbImage(9, 6, 4);
  for (int n : {3, 5}) {
    for (int16_t divisor : {int16_t{0}, int16_t{3}, int16_t{-2}}) {
      std::vector<int16_t> values(static_cast<size_t>(n * n + 1), 0);
      std::uniform_int_distribution<int> v(-5, 5);
      for (size_t i = 0; i + 1 < values.size(); ++i) values[i] = static_cast<int16_t>(v(rng));
      values.back() = divisor;
      auto bytes = littleEndian(values);
      const std::string exact = write("kernel-exact.bin", bytes);
      expectSameAsArray(exact, values, n, image);
      // Bytes after the divisor are ignored.
      bytes.insert(bytes.end(), {0xFF, 0x7F, 0x12});
      const std::string longer = write("kernel-longer.bin", bytes);
      expectSameAsArray(longer, values, n, image);
    }
  }
}

TEST_F(KernelFiles, ShortMissingAndGarbageFiles) {
  const auto image = rgbImage(5, 5);
  const std::vector<int16_t> values = {0, 1, 0, 1, 4, 1, 0, 1, 0, 0};
  auto bytes = littleEndian(values);
  bytes.pop_back();  // one byte of the divisor missing
  const std::string shortFile = write("kernel-short.bin", bytes);
  const std::string empty = write("kernel-empty.bin", {});
  const std::string missing = testing::TempDir() + "no-such-kernel.bin";
  for (const std::string& path : {shortFile, empty, missing}) {
    const std::wstring w = wide(path);
    const Result r = run(image, {.source = 2, .fileName = w.c_str(), .kernel = nullptr});
    EXPECT_FALSE(r.ok) << path;
    EXPECT_EQ(r.error, 8u) << path;
  }
  // A 3x3 file is not long enough for a 5x5 kernel.
  const std::string three = write("kernel-3.bin", littleEndian(values));
  const std::wstring w3 = wide(three);
  EXPECT_EQ(run(image, {.source = 2, .size = 5, .fileName = w3.c_str()}).error, 8u);

  // Random bytes: refused exactly when they break the limits, otherwise the
  // same as the array.
  std::mt19937 rng(11);
  int refused = 0, accepted = 0;
  for (int round = 0; round < 40; ++round) {
    std::vector<int16_t> garbage(10);
    std::uniform_int_distribution<int> wide16(-32768, 32767), narrow(-20, 20);
    for (auto& g : garbage)
      g = static_cast<int16_t>(round % 2 ? wide16(rng) : narrow(rng));
    const std::string path = write("kernel-garbage.bin", littleEndian(garbage));
    int positive = 0, negative = 0;
    bool single = true;
    for (size_t i = 0; i < 9; ++i) {
      if (garbage[i] > 127 || garbage[i] < -127) single = false;
      (garbage[i] > 0 ? positive : negative) += std::abs(int{garbage[i]});
    }
    const bool fits = single && positive <= 127 && negative <= 127;
    const std::wstring w = wide(path);
    const Result r = run(image, {.source = 2, .fileName = w.c_str()});
    EXPECT_EQ(r.ok, fits) << round;
    EXPECT_EQ(r.error, fits ? 0u : 8u) << round;
    if (fits) expectSameAsArray(path, garbage, 3, image);
    (fits ? accepted : refused) += 1;
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(accepted, 0);
}

#if !defined(_WIN32)
// The narrow name is UTF-8; the wide name reaches the file system in the
// locale's encoding.
TEST_F(KernelFiles, NonAsciiNamesUnderAUtf8Locale) {
  const std::string previous = std::setlocale(LC_CTYPE, nullptr);
  if (!std::setlocale(LC_CTYPE, "C.UTF-8") && !std::setlocale(LC_CTYPE, "en_US.UTF-8"))
    GTEST_SKIP() << "no UTF-8 locale";
  const std::vector<int16_t> values = {0, 0, 0, 0, 1, 0, 0, 0, 0, 0};
  const std::string path = write("k\xC3\xA9rn\xE2\x82\xAC.bin", littleEndian(values));
  const auto image = rgbImage(4, 3);
  test::ImageHandle narrow(image);
  uint32_t error = 9;
  EXPECT_TRUE(ColorConvolutionA(narrow.get(), 0, 0, 2, 3, path.c_str(), nullptr, &error, 0,
                                nullptr));
  EXPECT_EQ(error, 0u);
  const std::wstring w = wide(testing::TempDir()) + L"k\u00E9rn\u20AC.bin";
  test::ImageHandle wideName(image);
  EXPECT_TRUE(ColorConvolutionW(wideName.get(), 0, 0, 2, 3, w.c_str(), nullptr, &error, 0,
                                nullptr));
  EXPECT_EQ(error, 0u);
  // Malformed UTF-8 names no file.
  const std::string broken = testing::TempDir() + "k\xC3.bin";
  EXPECT_FALSE(ColorConvolutionA(narrow.get(), 0, 0, 2, 3, broken.c_str(), nullptr, &error, 0,
                                 nullptr));
  EXPECT_EQ(error, 8u);
  std::setlocale(LC_CTYPE, previous.c_str());
}
#endif

TEST(ConvolutionNarrow, NamesAreReadOnlyForFileKernels) {
  const auto image = rgbImage(3, 3);
  test::ImageHandle source(image);
  uint32_t error = 9;
  EXPECT_EQ(ColorConvolutionA(source.get(), 0, 0, 1, 3, "", kBlur.data(), &error, 0, nullptr),
            source.get());
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(ColorConvolutionA(source.get(), 1, 0, 2, 3, nullptr, nullptr, &error, 0, nullptr),
            nullptr);
  EXPECT_EQ(error, 8u);
  EXPECT_EQ(ColorConvolutionA(source.get(), 1, 0, 2, 3, "", nullptr, &error, 0, nullptr),
            nullptr);
  EXPECT_EQ(error, 8u);
}

// ---------------------------------------------------------------------------
// Dialogs
// ---------------------------------------------------------------------------

#if defined(_WIN32)
constexpr const char* kCancellingModule = "ChannelsCancelDlgs.dll";
#else
constexpr const char* kCancellingModule = "libChannelsCancelDlgs.so";
#endif

class ConvolutionDialog : public testing::TestWithParam<uint32_t> {
 protected:
  void TearDown() override {
    setCompanionFileName(nullptr);
    setLastError(0);
  }
};

TEST_P(ConvolutionDialog, CompanionPresentMissingOrCancelling) {
  const uint32_t flags = GetParam();
  const bool asks = flags == 2 || flags == 3;
  const auto image = rgbImage(6, 4);
  test::ImageHandle reference(image);
  uint32_t error = 0;
  test::ImageHandle expected(
      ColorConvolutionW(reference.get(), 1, 0, 1, 3, nullptr, kBlur.data(), &error, 0, nullptr));
  ASSERT_TRUE(expected);

  setLastError(0);
  Result r;
#if !defined(_WIN32)
  // The shipped companion accepts here; on Windows it shows its dialog
  // (driven in companion_dialogs_win32_test.cpp).
  r = run(image, {.flags = flags});
  EXPECT_TRUE(r.ok);
  EXPECT_EQ(GetLastColorConvertError(), 0u) << "the companion has the entry point";
#endif

  setCompanionFileName("libNoSuchCompanion.so");
  test::ImageHandle source(image);
  error = 9;
  test::ImageHandle filtered(ColorConvolutionW(source.get(), 1, 0, 1, 3, nullptr, kBlur.data(),
                                               &error, flags, nullptr));
  ASSERT_TRUE(filtered) << "a missing dialog lets the filter go on";
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(GetLastColorConvertError(), asks ? 7u : 0u);
  EXPECT_EQ(test::blockBytes(filtered.get()), test::blockBytes(expected.get()));

  setLastError(0);
  setCompanionFileName(kCancellingModule);
  r = run(image, {.newImage = 0, .flags = flags});
  EXPECT_EQ(r.ok, !asks);
  EXPECT_EQ(r.error, 0u) << "a cancelled dialog is not an error";
  EXPECT_EQ(GetLastColorConvertError(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Flags, ConvolutionDialog, testing::Values(0u, 1u, 2u, 3u, 4u, 6u));

// ---------------------------------------------------------------------------
// Progress (the hook stands in for the dialog on POSIX)
// ---------------------------------------------------------------------------

#if !defined(_WIN32)
struct ProgressLog {
  int creates = 0, steps = 0, destroys = 0;
  int32_t total = -1, divisor = -1;
  int cancelAt = -1;  // step number that presses Cancel
  bool refuseCreate = false;
};

NadiroProgressHook hookFor(ProgressLog& log) {
  NadiroProgressHook hook{};
  hook.context = &log;
  hook.create = [](void* c, NadiroWindow, int32_t total, int32_t divisor) -> int32_t {
    auto* l = static_cast<ProgressLog*>(c);
    ++l->creates;
    l->total = total;
    l->divisor = divisor;
    return l->refuseCreate ? 0 : 1;
  };
  hook.step = [](void* c, int32_t) -> int32_t {
    auto* l = static_cast<ProgressLog*>(c);
    return ++l->steps == l->cancelAt ? 1 : 0;
  };
  hook.destroy = [](void* c) { ++static_cast<ProgressLog*>(c)->destroys; };
  return hook;
}

class ConvolutionProgress : public testing::TestWithParam<std::tuple<int, int>> {
 protected:
  void TearDown() override { NadiroSetProgressHook(nullptr); }
};

TEST_P(ConvolutionProgress, StepsEveryFifthSourceStepAndCancels) {
  const auto [height, n] = GetParam();
  const int c = n / 2;
  const auto image = rgbImage(5, height);
  int expectedSteps = 0;
  for (int r = -c; r < height + c; ++r) expectedSteps += r % 5 == 0;

  for (const uint32_t flags : {1u, 3u}) {
    ProgressLog log;
    const NadiroProgressHook hook = hookFor(log);
    NadiroSetProgressHook(&hook);
    const Result r = run(image, {.source = 3, .size = n, .flags = flags});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(log.creates, 1);
    EXPECT_EQ(log.total, (height - n + 4) / 5 * 5);
    EXPECT_EQ(log.divisor, 5);
    EXPECT_EQ(log.steps, expectedSteps);
    EXPECT_EQ(log.destroys, 1);
  }
  for (const uint32_t newImage : {0u, 1u}) {
    ProgressLog log;
    log.cancelAt = 1;
    const NadiroProgressHook hook = hookFor(log);
    NadiroSetProgressHook(&hook);
    const Result r = run(image, {.newImage = newImage, .source = 3, .size = n, .flags = 1});
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.error, 0u);
    EXPECT_EQ(log.steps, 1);
    EXPECT_EQ(log.destroys, 1) << "Cancel closes the dialog; it is not destroyed again";
  }
  ProgressLog refused;
  refused.refuseCreate = true;
  const NadiroProgressHook hook = hookFor(refused);
  NadiroSetProgressHook(&hook);
  const Result r = run(image, {.flags = 1});
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.error, 0u);
  // Only flags 1 and 3 show progress: the flags are compared, not bit-tested
  // (5 and 7 carry the progress bit and still show nothing).
  ProgressLog quiet;
  const NadiroProgressHook quietHook = hookFor(quiet);
  NadiroSetProgressHook(&quietHook);
  for (const uint32_t flags : {0u, 2u, 4u, 5u, 7u}) {
    EXPECT_TRUE(run(image, {.flags = flags}).ok) << flags;
    EXPECT_EQ(quiet.creates, 0) << flags;
    EXPECT_EQ(quiet.steps, 0) << flags;
  }
}

INSTANTIATE_TEST_SUITE_P(Heights, ConvolutionProgress,
                         testing::Combine(testing::Values(1, 2, 7, 12, 23),
                                          testing::Values(3, 5, 7)));
#endif

}  // namespace
}  // namespace nadiro
