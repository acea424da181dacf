// Row kernels of the channel split and merge of 24-bit pixels behind one
// table of function pointers, filled once for the instruction-set level in
// force (frame/cpu.h). The scalar kernels in channel_rows.cpp state the
// rules; the vector ones give the same bytes, faster.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"

namespace nadiro::channels {

struct ChannelRowKernels {
  // Bytes 2, 1, 0 of each of `width` 3-byte pixels into out[0], out[1],
  // out[2].
  void (*split3)(const uint8_t* px, uint8_t* const* out, uint32_t width);
  // The reverse: in[2], in[1], in[0] of each pixel as its bytes 0, 1, 2.
  void (*merge3)(const uint8_t* const* in, uint8_t* dst, uint32_t width);
};

// The tables of every level (frame/dispatch.h).
KernelLevels<ChannelRowKernels>& channelRowLevels();
// The kernels of the level in force.
inline const ChannelRowKernels& channelRowKernels() {
  return channelRowLevels().active();
}
// Makes split and merge use the kernels of `level` while it lives.
using ScopedChannelLevel = ScopedLevel<ChannelRowKernels, channelRowLevels>;

// The vector table, defined in its level's file (null off x86).
const ChannelRowKernels* avx2ChannelRowKernels();
// The scalar kernels the vector ones finish rows with.
void split3Scalar(const uint8_t* px, uint8_t* const* out, uint32_t width);
void merge3Scalar(const uint8_t* const* in, uint8_t* dst, uint32_t width);

}  // namespace nadiro::channels
