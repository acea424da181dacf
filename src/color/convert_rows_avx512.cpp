// The conversion row kernels built for the avx512 level (8 doubles a vector).
#include "color/convert_lanes.h"

namespace nadiro::color {

void fillAvx512Kernels(LaneKernels& kernels) {
  fillLaneKernels<8>(kernels);
}

}  // namespace nadiro::color
