// The conversion row kernels built for the avx2 level (4 doubles a vector).
#include "color/convert_lanes.h"

namespace nadiro::color {

void fillAvx2Kernels(LaneKernels& kernels) {
  fillLaneKernels<4>(kernels);
}

}  // namespace nadiro::color
