// The conversion row kernels built for the avx512 level (8 doubles a vector).
// GCC 12's AVX-512 intrinsics start some results from an "undefined"
// register that the uninitialised-use warnings report once inlined (GCC bug
// 105593).
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

#include "color/convert_lanes.h"

namespace nadiro::color {

const LaneKernels* avx512LaneKernels() {
  static const LaneKernels kernels = laneKernels<8>();
  return &kernels;
}

}  // namespace nadiro::color
