// The conversion row kernels built for the avx2 level (4 doubles a vector).
#include "color/convert_lanes.h"

namespace nadiro::color {

const LaneKernels* avx2LaneKernels() {
  static const LaneKernels kernels = laneKernels<4>();
  return &kernels;
}

}  // namespace nadiro::color
