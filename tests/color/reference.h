// Plain reference statements of the colour-model rules, one pixel at a time,
// written straight from the documented formulas and independent of the
// library's descriptor tables.
#pragma once

#include <array>
#include <cstdint>

namespace nadiro::test::ref {

// The nine models of the pixel conversions, in the order of the family table.
enum Model { RGB, CMY, CMYK, HSV, HSI, YIQ, YUV, XYZ, LAB };
inline constexpr int kModels = 9;
const char* modelName(Model m);

// Record size: 4 for CMYK, 3 otherwise.
inline int recordBytes(Model m) { return m == CMYK ? 4 : 3; }

// How the member from -> to is built: 'I' integer, 'D' direct, 'C' chained
// in doubles, 'B' complemented bytes into the RGB member, '-' none.
char memberKind(Model from, Model to);

using Record = std::array<uint8_t, 4>;

// The member from -> to on a record (unused bytes of the result are 0).
Record convert(Model from, Model to, const uint8_t* in);

// Byte scaling plus one core, separately (for the precision checks).
struct Rgb {
  double r, g, b;
};
Rgb toRgb(Model from, const uint8_t* in);
Record fromRgb(Model to, Rgb rgb);

// The under-colour-removal CMYK form: RGB bytes to stored C, M, Y, K.
Record ucrFromRgb(const uint8_t* rgb);
// Stored C, M, Y, K back to R, G, B bytes.
Record ucrToRgb(const uint8_t* cmyk);

// The model id of the image/buffer conversions (1..9) for a model, and back.
int modelId(Model m);
bool modelOfId(int id, Model& m);

}  // namespace nadiro::test::ref
