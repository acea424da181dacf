// The conversion row kernels built for the sse2 level (2 doubles a vector).
#include "color/convert_lanes.h"

namespace nadiro::color {

const LaneKernels* sse2LaneKernels() {
  static const LaneKernels kernels = laneKernels<2>();
  return &kernels;
}

}  // namespace nadiro::color
