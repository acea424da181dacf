// The conversion row kernels built for the sse2 level (2 doubles a vector).
#include "color/convert_lanes.h"

namespace nadiro::color {

void fillSse2Kernels(LaneKernels& kernels) {
  fillLaneKernels<2>(kernels);
}

}  // namespace nadiro::color
