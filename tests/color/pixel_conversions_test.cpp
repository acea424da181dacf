// The 72 exported pixel conversions against the plain reference formulas, the
// documented examples, and the precision of the chained members.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "color/reference.h"
#include "nadiro/nadiro.h"

namespace nadiro {
namespace {

using test::ref::Model;
using test::ref::Record;

// Uniform callers for the four shapes of the family.
Record call(NadiroColor3(NADIRO_CALL* fn)(const NadiroColor3*), const uint8_t* in) {
  NadiroColor3 rec;
  std::memcpy(rec.v, in, 3);
  const NadiroColor3 r = fn(&rec);
  return {r.v[0], r.v[1], r.v[2], 0};
}
Record call(NadiroPackedCMYK(NADIRO_CALL* fn)(const NadiroColor3*), const uint8_t* in) {
  NadiroColor3 rec;
  std::memcpy(rec.v, in, 3);
  const uint32_t p = fn(&rec);
  return {static_cast<uint8_t>(p), static_cast<uint8_t>(p >> 8), static_cast<uint8_t>(p >> 16),
          static_cast<uint8_t>(p >> 24)};
}
Record call(NadiroColor3(NADIRO_CALL* fn)(const NadiroColor4*), const uint8_t* in) {
  NadiroColor4 rec;
  std::memcpy(rec.v, in, 4);
  const NadiroColor3 r = fn(&rec);
  return {r.v[0], r.v[1], r.v[2], 0};
}

struct Member {
  const char* name;
  Model from, to;
  Record (*run)(const uint8_t*);
};

#define M(F, T) \
  Member { #F "to" #T, Model::F, Model::T, [](const uint8_t* in) { return call(&F##to##T, in); } }

const Member kMembers[] = {
    M(RGB, CMY),  M(RGB, CMYK), M(RGB, HSV),  M(RGB, HSI),  M(RGB, YIQ),  M(RGB, YUV),
    M(RGB, XYZ),  M(RGB, LAB),  M(CMY, RGB),  M(CMY, CMYK), M(CMY, HSV),  M(CMY, HSI),
    M(CMY, YIQ),  M(CMY, YUV),  M(CMY, XYZ),  M(CMY, LAB),  M(CMYK, RGB), M(CMYK, CMY),
    M(CMYK, HSV), M(CMYK, HSI), M(CMYK, YIQ), M(CMYK, YUV), M(CMYK, XYZ), M(CMYK, LAB),
    M(HSV, RGB),  M(HSV, CMY),  M(HSV, CMYK), M(HSV, HSI),  M(HSV, YIQ),  M(HSV, YUV),
    M(HSV, XYZ),  M(HSV, LAB),  M(HSI, RGB),  M(HSI, CMY),  M(HSI, CMYK), M(HSI, HSV),
    M(HSI, YIQ),  M(HSI, YUV),  M(HSI, XYZ),  M(HSI, LAB),  M(YIQ, RGB),  M(YIQ, CMY),
    M(YIQ, CMYK), M(YIQ, HSV),  M(YIQ, HSI),  M(YIQ, YUV),  M(YIQ, XYZ),  M(YIQ, LAB),
    M(YUV, RGB),  M(YUV, CMY),  M(YUV, CMYK), M(YUV, HSV),  M(YUV, HSI),  M(YUV, YIQ),
    M(YUV, XYZ),  M(YUV, LAB),  M(XYZ, RGB),  M(XYZ, CMY),  M(XYZ, CMYK), M(XYZ, HSV),
    M(XYZ, HSI),  M(XYZ, YIQ),  M(XYZ, YUV),  M(XYZ, LAB),  M(LAB, RGB),  M(LAB, CMY),
    M(LAB, CMYK), M(LAB, HSV),  M(LAB, HSI),  M(LAB, YIQ),  M(LAB, YUV),  M(LAB, XYZ),
};
#undef M

void PrintTo(const Member& m, std::ostream* os) { *os << m.name; }

const Member& member(Model from, Model to) {
  for (const Member& m : kMembers)
    if (m.from == from && m.to == to) return m;
  ADD_FAILURE() << "no member";
  return kMembers[0];
}

std::string show(const uint8_t* in, int n) {
  std::string s = "(";
  for (int j = 0; j < n; ++j) {
    if (j) s += ',';
    s += std::to_string(in[j]);
  }
  s += ')';
  return s;
}

// Every input whose components are all corner values, then a seeded sample.
std::vector<std::array<uint8_t, 4>> inputs(int n, uint32_t seed, int samples) {
  static const uint8_t corners[] = {0, 1, 127, 128, 254, 255};
  std::vector<std::array<uint8_t, 4>> out;
  const int combos = n == 4 ? 6 * 6 * 6 * 6 : 6 * 6 * 6;
  for (int c = 0; c < combos; ++c) {
    std::array<uint8_t, 4> v{};
    int k = c;
    for (int j = 0; j < n; ++j, k /= 6) v[static_cast<size_t>(j)] = corners[k % 6];
    out.push_back(v);
  }
  std::mt19937 rng(seed);
  for (int s = 0; s < samples; ++s) {
    std::array<uint8_t, 4> v{};
    for (int j = 0; j < n; ++j) v[static_cast<size_t>(j)] = static_cast<uint8_t>(rng());
    out.push_back(v);
  }
  return out;
}

TEST(PixelConversions, FamilyHasEveryOrderedPairOnce) {
  ASSERT_EQ(std::size(kMembers), 72u);
  for (int f = 0; f < test::ref::kModels; ++f)
    for (int t = 0; t < test::ref::kModels; ++t) {
      int found = 0;
      for (const Member& m : kMembers) found += m.from == f && m.to == t;
      EXPECT_EQ(found, f == t ? 0 : 1) << f << "->" << t;
    }
}

class EveryMember : public testing::TestWithParam<Member> {};

TEST_P(EveryMember, MatchesReferenceOnCornersAndSample) {
  const Member& m = GetParam();
  const int n = test::ref::recordBytes(m.from);
  int failures = 0;
  for (const auto& in : inputs(n, 0xC0105u + static_cast<uint32_t>(m.from * 9 + m.to), 6000)) {
    const Record got = m.run(in.data());
    const Record want = test::ref::convert(m.from, m.to, in.data());
    if (got != want && ++failures <= 5)
      ADD_FAILURE() << m.name << show(in.data(), n) << " gives "
                    << show(got.data(), test::ref::recordBytes(m.to)) << ", expected "
                    << show(want.data(), test::ref::recordBytes(m.to));
  }
  EXPECT_EQ(failures, 0) << m.name;
}

INSTANTIATE_TEST_SUITE_P(Family, EveryMember, testing::ValuesIn(kMembers),
                         [](const testing::TestParamInfo<Member>& i) { return i.param.name; });

// The documented examples, written out by hand.
struct Example {
  Model from, to;
  std::array<uint8_t, 4> in;
  Record expected;
};

class DocumentedExample : public testing::TestWithParam<Example> {};

TEST_P(DocumentedExample, Holds) {
  const Example& e = GetParam();
  const Member& m = member(e.from, e.to);
  EXPECT_EQ(m.run(e.in.data()), e.expected) << m.name << show(e.in.data(), 4);
}

INSTANTIATE_TEST_SUITE_P(
    Examples, DocumentedExample,
    testing::Values(
        // Black has no hue: -1 degrees clamps to byte 0.
        Example{Model::RGB, Model::HSV, {0, 0, 0}, {0, 0, 0, 0}},
        Example{Model::RGB, Model::HSV, {255, 0, 0}, {0, 255, 255, 0}},
        // 180 degrees: 127.5 truncated.
        Example{Model::RGB, Model::HSV, {0, 255, 255}, {127, 255, 255, 0}},
        // Hue byte 255 is 360 degrees, read as red like hue 0.
        Example{Model::HSV, Model::RGB, {255, 255, 255}, {255, 0, 0, 0}},
        Example{Model::HSV, Model::RGB, {0, 255, 255}, {255, 0, 0, 0}},
        // Integer CMYK and its wrap modulo 256.
        Example{Model::CMYK, Model::CMY, {200, 0, 0, 100}, {44, 100, 100, 0}},
        Example{Model::CMYK, Model::RGB, {200, 0, 0, 100}, {211, 155, 155, 0}},
        Example{Model::RGB, Model::CMYK, {255, 255, 255}, {0, 0, 0, 0}},
        Example{Model::RGB, Model::CMYK, {0, 0, 0}, {0, 0, 0, 255}},
        Example{Model::CMY, Model::CMYK, {10, 20, 30}, {0, 10, 20, 10}},
        Example{Model::RGB, Model::CMY, {0, 100, 255}, {255, 155, 0, 0}},
        Example{Model::CMY, Model::RGB, {0, 100, 255}, {255, 155, 0, 0}}));

TEST(PixelConversions, PackedCmykResults) {
  const NadiroColor3 black{{0, 0, 0}}, white{{255, 255, 255}}, cmy{{10, 20, 30}};
  EXPECT_EQ(RGBtoCMYK(&black), 0xFF000000u);
  EXPECT_EQ(RGBtoCMYK(&white), 0u);
  EXPECT_EQ(CMYtoCMYK(&cmy), 0x0A140A00u);
}

TEST(PixelConversions, RecordsAreOnlyRead) {
  NadiroColor3 rgb{{12, 200, 77}};
  NadiroColor4 cmyk{{1, 2, 3, 4}};
  (void)RGBtoLAB(&rgb);
  (void)RGBtoCMYK(&rgb);
  (void)CMYKtoHSV(&cmyk);
  EXPECT_EQ(rgb.v[0], 12);
  EXPECT_EQ(rgb.v[1], 200);
  EXPECT_EQ(rgb.v[2], 77);
  EXPECT_EQ(cmyk.v[3], 4);
}

// A chained member runs source-to-RGB and RGB-to-target in doubles with no
// byte in between, so it differs from composing the two byte-level members
// (for instance HSVtoHSI against RGBtoHSI(HSVtoRGB(...))) on some colours,
// and equals the double path on all of them.
TEST(PixelConversions, ChainedMembersKeepFullPrecision) {
  for (const Member& m : kMembers) {
    if (test::ref::memberKind(m.from, m.to) != 'C') continue;
    const Member& first = member(m.from, Model::RGB);
    const Member& second = member(Model::RGB, m.to);
    int differs = 0;
    for (const auto& in : inputs(test::ref::recordBytes(m.from), 77, 3000)) {
      const Record got = m.run(in.data());
      const Record rgb = first.run(in.data());
      if (got != second.run(rgb.data())) ++differs;
      ASSERT_EQ(got, test::ref::fromRgb(m.to, test::ref::toRgb(m.from, in.data())))
          << m.name << show(in.data(), 4);
    }
    // From CMY the first hop is a complement that bytes hold exactly (up to
    // the last bit of 1 - C/255), so only the other sources must show it.
    if (m.from != Model::CMY) {
      EXPECT_GT(differs, 0) << m.name << " never differs from the byte-level composition";
    }
  }
}

// CMYtoYIQ and CMYtoYUV are the exceptions: exactly the RGB member applied to
// the complemented bytes.
TEST(PixelConversions, CmyToYiqAndYuvPassThroughBytes) {
  for (Model to : {Model::YIQ, Model::YUV}) {
    const Member& m = member(Model::CMY, to);
    const Member& viaRgb = member(Model::RGB, to);
    for (const auto& in : inputs(3, 5, 3000)) {
      const uint8_t rgb[3] = {static_cast<uint8_t>(255 - in[0]), static_cast<uint8_t>(255 - in[1]),
                              static_cast<uint8_t>(255 - in[2])};
      ASSERT_EQ(m.run(in.data()), viaRgb.run(rgb)) << m.name << show(in.data(), 3);
    }
  }
}

}  // namespace
}  // namespace nadiro
