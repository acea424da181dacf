// The pixel-conversion family as data: one descriptor per colour model (how
// its bytes become a core triple, which cores lead to and from RGB, how the
// result becomes bytes again) and the list of the 72 members with the way
// each one is built. The exports, the row kernels of the image conversion
// and the dispatch tables are all generated from this list.
#pragma once

#include <cstddef>
#include <cstdint>

#include "color/formulas.h"
#include "nadiro/nadiro.h"

namespace nadiro::color {

// The colour-model ids are the interface's NADIRO_MODEL_* names, 1 up to
// the last one.
inline constexpr int32_t kModelCount = NADIRO_MODEL_CMYK_UCR;

inline constexpr bool isModel(int64_t id) {
  return id >= 1 && id <= kModelCount;
}
// The two four-byte models: CMYK and CMYK with under-colour removal.
inline constexpr bool isCmykModel(int64_t id) {
  return id == NADIRO_MODEL_CMYK || id == NADIRO_MODEL_CMYK_UCR;
}

// An image's biCompression tag by model id; model 10 is written with CMYK's
// tag, so no image is ever read as model 10.
inline constexpr uint32_t kModelTags[kModelCount + 1] = {0, 0, 10, 11, 12, 13, 14, 15, 16, 17, 12};
inline constexpr uint32_t modelTag(int32_t model) {
  return kModelTags[model];
}

namespace model {

// Each descriptor: kId, kBytes (record size), in() bytes -> core value,
// toRgb()/fromRgb() the core pair, out() core value -> bytes.

struct RGB {
  static constexpr int32_t kId = NADIRO_MODEL_RGB;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return {kUnit[v[0]], kUnit[v[1]], kUnit[v[2]]}; }
  static Color3 toRgb(Color3 t) { return t; }
  static Color3 fromRgb(Color3 t) { return t; }
  static void out(Color3 t, uint8_t* v) {
    v[0] = toByte(t.a * 255.0);
    v[1] = toByte(t.b * 255.0);
    v[2] = toByte(t.c * 255.0);
  }
};

struct CMY {
  static constexpr int32_t kId = NADIRO_MODEL_CMY;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return RGB::in(v); }
  static Color3 toRgb(Color3 t) { return cmyToRgb(t); }
  static Color3 fromRgb(Color3 t) { return rgbToCmy(t); }
  static void out(Color3 t, uint8_t* v) { RGB::out(t, v); }
};

struct CMYK {
  static constexpr int32_t kId = NADIRO_MODEL_CMYK;
  static constexpr size_t kBytes = 4;
  static Cmyk in(const uint8_t* v) { return {kUnit[v[0]], kUnit[v[1]], kUnit[v[2]], kUnit[v[3]]}; }
  static Color3 toRgb(Cmyk q) { return cmykToRgb(q); }
  static Cmyk fromRgb(Color3 t) { return rgbToCmyk(t); }
  static void out(Cmyk q, uint8_t* v) {
    v[0] = toByte(q.c * 255.0);
    v[1] = toByte(q.m * 255.0);
    v[2] = toByte(q.y * 255.0);
    v[3] = toByte(q.k * 255.0);
  }
};

// Hue byte 255 is exactly 360 degrees, which the HSV core reads as red.
struct HSV {
  static constexpr int32_t kId = NADIRO_MODEL_HSV;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return {kHue[v[0]], kUnit[v[1]], kUnit[v[2]]}; }
  static Color3 toRgb(Color3 t) {
    Color3 rgb{};
    hsvToRgb(t, rgb);
    return rgb;
  }
  static Color3 fromRgb(Color3 t) { return rgbToHsv(t); }
  static void out(Color3 t, uint8_t* v) {
    v[0] = toByte(t.a * 255.0 / 360.0);
    v[1] = toByte(t.b * 255.0);
    v[2] = toByte(t.c * 255.0);
  }
};

struct HSI {
  static constexpr int32_t kId = NADIRO_MODEL_HSI;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return HSV::in(v); }
  static Color3 toRgb(Color3 t) { return hsiToRgb(t); }
  static Color3 fromRgb(Color3 t) { return rgbToHsi(t); }
  static void out(Color3 t, uint8_t* v) { HSV::out(t, v); }
};

struct YIQ {
  static constexpr int32_t kId = NADIRO_MODEL_YIQ;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return {kUnit[v[0]], kYiqI[v[1]], kYiqQ[v[2]]}; }
  static Color3 toRgb(Color3 t) { return yiqToRgb(t); }
  static Color3 fromRgb(Color3 t) { return rgbToYiq(t); }
  static void out(Color3 t, uint8_t* v) {
    v[0] = toByte(t.a * 255.0);
    v[1] = toByte((t.b + 0.5957) * 255.0 / 1.1914);
    v[2] = toByte((t.c + 0.5226) * 255.0 / 1.0452);
  }
};

struct YUV {
  static constexpr int32_t kId = NADIRO_MODEL_YUV;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return {kUnit[v[0]], kYuvU[v[1]], kYuvV[v[2]]}; }
  static Color3 toRgb(Color3 t) { return yuvToRgb(t); }
  static Color3 fromRgb(Color3 t) { return rgbToYuv(t); }
  static void out(Color3 t, uint8_t* v) {
    v[0] = toByte(t.a * 255.0);
    v[1] = toByte((t.b + 0.436) * 255.0 / 0.872);
    v[2] = toByte((t.c + 0.615) * 255.0 / 1.23);
  }
};

struct XYZ {
  static constexpr int32_t kId = NADIRO_MODEL_XYZ;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return {kXyzX[v[0]], kUnit[v[1]], kXyzZ[v[2]]}; }
  static Color3 toRgb(Color3 t) { return xyzToRgb(t); }
  static Color3 fromRgb(Color3 t) { return rgbToXyz(t); }
  static void out(Color3 t, uint8_t* v) {
    v[0] = toByte(t.a * 255.0 / 0.9807);
    v[1] = toByte(t.b * 255.0);
    v[2] = toByte(t.c * 255.0 / 1.18232);
  }
};

struct LAB {
  static constexpr int32_t kId = NADIRO_MODEL_LAB;
  static constexpr size_t kBytes = 3;
  static Color3 in(const uint8_t* v) { return {kUnit[v[0]], kUnit[v[1]], kLabB[v[2]]}; }
  static Color3 toRgb(Color3 t) { return labToRgb(t); }
  static Color3 fromRgb(Color3 t) { return rgbToLab(t); }
  static void out(Color3 t, uint8_t* v) {
    v[0] = toByte(t.a * 255.0);
    v[1] = toByte(t.b * 255.0);
    v[2] = toByte(t.c * 255.0 / 1.389);
  }
};

}  // namespace model

// ---------------------------------------------------------------------------
// How members are built. Each has kIn/kOut record sizes and apply(in, out)
// on records in model order.
// ---------------------------------------------------------------------------

// Direct and chained members: bytes to doubles, the source's core to RGB,
// RGB's core to the target, and bytes only at the very end. With RGB on
// either side the identity core leaves a direct member.
template <class From, class To>
struct Doubles {
  static constexpr size_t kIn = From::kBytes;
  static constexpr size_t kOut = To::kBytes;
  static void apply(const uint8_t* in, uint8_t* out) {
    To::out(To::fromRgb(From::toRgb(From::in(in))), out);
  }
};

// The members between RGB, CMY and CMYK work on bytes only; every sum wraps
// modulo 256 (CMYK 200, 0, 0, 100 gives CMY 44, 100, 100).
template <class From, class To>
struct Integer;

template <>
struct Integer<model::RGB, model::CMY> {
  static constexpr size_t kIn = 3, kOut = 3;
  static void apply(const uint8_t* in, uint8_t* out) {
    out[0] = complement(in[0]);
    out[1] = complement(in[1]);
    out[2] = complement(in[2]);
  }
};

template <>
struct Integer<model::CMY, model::RGB> : Integer<model::RGB, model::CMY> {};

template <>
struct Integer<model::CMY, model::CMYK> {
  static constexpr size_t kIn = 3, kOut = 4;
  static void apply(const uint8_t* in, uint8_t* out) {
    const uint8_t k = min3(in[0], in[1], in[2]);
    out[0] = diff(in[0], k);
    out[1] = diff(in[1], k);
    out[2] = diff(in[2], k);
    out[3] = k;
  }
};

template <>
struct Integer<model::RGB, model::CMYK> {
  static constexpr size_t kIn = 3, kOut = 4;
  static void apply(const uint8_t* in, uint8_t* out) {
    const uint8_t cmy[3] = {complement(in[0]), complement(in[1]), complement(in[2])};
    Integer<model::CMY, model::CMYK>::apply(cmy, out);
  }
};

template <>
struct Integer<model::CMYK, model::CMY> {
  static constexpr size_t kIn = 4, kOut = 3;
  static void apply(const uint8_t* in, uint8_t* out) {
    out[0] = wrapSum(in[0], in[3]);
    out[1] = wrapSum(in[1], in[3]);
    out[2] = wrapSum(in[2], in[3]);
  }
};

template <>
struct Integer<model::CMYK, model::RGB> {
  static constexpr size_t kIn = 4, kOut = 3;
  static void apply(const uint8_t* in, uint8_t* out) {
    out[0] = complement(wrapSum(in[0], in[3]));
    out[1] = complement(wrapSum(in[1], in[3]));
    out[2] = complement(wrapSum(in[2], in[3]));
  }
};

// CMY to YIQ and to YUV go through bytes once: the complemented record is an
// RGB record handed to the RGB member.
template <class From, class To>
struct ViaBytes {
  static constexpr size_t kIn = 3, kOut = To::kBytes;
  static void apply(const uint8_t* in, uint8_t* out) {
    const uint8_t rgb[3] = {complement(in[0]), complement(in[1]), complement(in[2])};
    Doubles<model::RGB, To>::apply(rgb, out);
  }
};

// RGB to the under-colour-removal CMYK form (model 10), stored C, M, Y, K.
struct UcrFromRgb {
  static constexpr size_t kIn = 3, kOut = 4;
  static void apply(const uint8_t* in, uint8_t* out) { rgbToUcrCmyk(in, out); }
};

// The 72 members: source, target, and how the member is built.
// clang-format off
#define NADIRO_COLOR_MEMBERS(X) \
  X(RGB, CMY, Integer)   X(RGB, CMYK, Integer)  X(RGB, HSV, Doubles)   X(RGB, HSI, Doubles)   \
  X(RGB, YIQ, Doubles)   X(RGB, YUV, Doubles)   X(RGB, XYZ, Doubles)   X(RGB, LAB, Doubles)   \
  X(CMY, RGB, Integer)   X(CMY, CMYK, Integer)  X(CMY, HSV, Doubles)   X(CMY, HSI, Doubles)   \
  X(CMY, YIQ, ViaBytes)  X(CMY, YUV, ViaBytes)  X(CMY, XYZ, Doubles)   X(CMY, LAB, Doubles)   \
  X(CMYK, RGB, Integer)  X(CMYK, CMY, Integer)  X(CMYK, HSV, Doubles)  X(CMYK, HSI, Doubles)  \
  X(CMYK, YIQ, Doubles)  X(CMYK, YUV, Doubles)  X(CMYK, XYZ, Doubles)  X(CMYK, LAB, Doubles)  \
  X(HSV, RGB, Doubles)   X(HSV, CMY, Doubles)   X(HSV, CMYK, Doubles)  X(HSV, HSI, Doubles)   \
  X(HSV, YIQ, Doubles)   X(HSV, YUV, Doubles)   X(HSV, XYZ, Doubles)   X(HSV, LAB, Doubles)   \
  X(HSI, RGB, Doubles)   X(HSI, CMY, Doubles)   X(HSI, CMYK, Doubles)  X(HSI, HSV, Doubles)   \
  X(HSI, YIQ, Doubles)   X(HSI, YUV, Doubles)   X(HSI, XYZ, Doubles)   X(HSI, LAB, Doubles)   \
  X(YIQ, RGB, Doubles)   X(YIQ, CMY, Doubles)   X(YIQ, CMYK, Doubles)  X(YIQ, HSV, Doubles)   \
  X(YIQ, HSI, Doubles)   X(YIQ, YUV, Doubles)   X(YIQ, XYZ, Doubles)   X(YIQ, LAB, Doubles)   \
  X(YUV, RGB, Doubles)   X(YUV, CMY, Doubles)   X(YUV, CMYK, Doubles)  X(YUV, HSV, Doubles)   \
  X(YUV, HSI, Doubles)   X(YUV, YIQ, Doubles)   X(YUV, XYZ, Doubles)   X(YUV, LAB, Doubles)   \
  X(XYZ, RGB, Doubles)   X(XYZ, CMY, Doubles)   X(XYZ, CMYK, Doubles)  X(XYZ, HSV, Doubles)   \
  X(XYZ, HSI, Doubles)   X(XYZ, YIQ, Doubles)   X(XYZ, YUV, Doubles)   X(XYZ, LAB, Doubles)   \
  X(LAB, RGB, Doubles)   X(LAB, CMY, Doubles)   X(LAB, CMYK, Doubles)  X(LAB, HSV, Doubles)   \
  X(LAB, HSI, Doubles)   X(LAB, YIQ, Doubles)   X(LAB, YUV, Doubles)   X(LAB, XYZ, Doubles)
// clang-format on

}  // namespace nadiro::color
