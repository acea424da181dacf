// Row kernels of the pixel-conversion family and the walk that feeds them.
#include "color/pixel_walk.h"

#include <array>

#include "color/convert_rows.h"
#include "color/models.h"

namespace nadiro::color {
namespace {

// One member over a run of pixels, the member inlined into the loop.
template <class Member, Order kOrder>
void rowKernel(const uint8_t* src, uint8_t* dst, size_t count) {
  constexpr size_t kIn = Member::kIn;
  constexpr size_t kOut = Member::kOut;
  for (size_t n = 0; n < count; ++n, src += kIn, dst += kOut) {
    uint8_t in[kIn];
    uint8_t out[kOut];
    for (size_t j = 0; j < kIn; ++j) in[j] = kOrder == Order::Reversed ? src[kIn - 1 - j] : src[j];
    Member::apply(in, out);
    for (size_t j = 0; j < kOut; ++j)
      dst[j] = kOrder == Order::Reversed ? out[kOut - 1 - j] : out[j];
  }
}

using KernelTable = std::array<std::array<RowKernel, kModelCount + 1>, kModelCount + 1>;

template <Order kOrder>
constexpr KernelTable makeTable() {
  KernelTable t{};
#define NADIRO_TABLE_ENTRY(FROM, TO, KIND) \
  t[model::FROM::kId][model::TO::kId] = &rowKernel<KIND<model::FROM, model::TO>, kOrder>;
  NADIRO_COLOR_MEMBERS(NADIRO_TABLE_ENTRY)
#undef NADIRO_TABLE_ENTRY
  t[NADIRO_MODEL_RGB][NADIRO_MODEL_CMYK_UCR] = &rowKernel<UcrFromRgb, kOrder>;
  return t;
}

constexpr KernelTable kImageKernels = makeTable<Order::Reversed>();
constexpr KernelTable kBufferKernels = makeTable<Order::Model>();

}  // namespace

RowKernel scalarRowKernel(int32_t from, int32_t to, Order order) {
  if (!isModel(from) || !isModel(to)) return nullptr;
  const auto& table = order == Order::Reversed ? kImageKernels : kBufferKernels;
  return table[static_cast<size_t>(from)][static_cast<size_t>(to)];
}

RowKernel rowKernelFor(int32_t from, int32_t to, Order order) {
  if (RowKernel lanes = laneRowKernel(cpuLevel(), from, to, order)) return lanes;
  return scalarRowKernel(from, to, order);
}

void walkRange(const Walk& w, uint64_t begin, uint64_t end) {
  if (!w.kernel || begin >= end || w.stride == 0) return;
  const uint64_t inBytes = w.inBytes;
  for (uint64_t row = begin / w.stride; row * w.stride < end; ++row) {
    const uint64_t rowStart = row * w.stride;
    const uint64_t lo = begin > rowStart ? begin - rowStart : 0;
    uint64_t hi = end - rowStart;
    if (hi > w.rowData) hi = w.rowData;
    const uint64_t first = (lo + inBytes - 1) / inBytes;  // first pixel starting at or after lo
    const uint64_t last = (hi + inBytes - 1) / inBytes;   // pixels starting below hi
    if (first >= last) continue;
    w.kernel(w.src + rowStart + first * inBytes, w.dst + row * w.dstStride + first * w.outBytes,
             static_cast<size_t>(last - first));
  }
}

std::optional<uint64_t> runWithProgress(const Walk& walk, uint64_t total, int32_t showProgress,
                                        void* owner) {
  const bool showing = showProgress != 0;
  // The range is a 32-bit count; total never exceeds the largest block.
  const auto range = static_cast<int32_t>(static_cast<uint32_t>(total + 1));
  if (showing && !progressCreate(owner, range, kProgressInterval)) return std::nullopt;
  const uint64_t reached =
      runWalk(total, showing, [&](uint64_t begin, uint64_t end) { walkRange(walk, begin, end); });
  if (showing) progressDestroy();
  return reached;
}

}  // namespace nadiro::color
