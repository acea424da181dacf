// The scalar row kernels of the channel split and merge and the table of the
// level in force.
#include "channels/channel_rows.h"

namespace nadiro::channels {

void split3Scalar(const uint8_t* px, uint8_t* const* out, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, px += 3) {
    out[0][x] = px[2];
    out[1][x] = px[1];
    out[2][x] = px[0];
  }
}

void merge3Scalar(const uint8_t* const* in, uint8_t* dst, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, dst += 3) {
    dst[0] = in[2][x];
    dst[1] = in[1][x];
    dst[2] = in[0][x];
  }
}

// The AVX2 kernels serve the AVX-512 level too.
KernelLevels<ChannelRowKernels>& channelRowLevels() {
  static constexpr ChannelRowKernels kScalar{&split3Scalar, &merge3Scalar};
  static KernelLevels<ChannelRowKernels> levels(
      {[]() { return &kScalar; }, nullptr, &avx2ChannelRowKernels, nullptr});
  return levels;
}

}  // namespace nadiro::channels
