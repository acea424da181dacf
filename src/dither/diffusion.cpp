// Error diffusion to 1, 4 or 8 bits: each working-row entry is quantised,
// and its error e is spread to entries right of it and in the rows below
// by a kernel of weights over a divisor. Kernels are data; one row core
// runs them all.
#include "dither/diffusion.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "dither/kernels.h"
#include "nadiro/nadiro.h"

namespace nadiro::dither {
namespace {

// How a kernel entry takes its share: added to what the entry holds, or
// stored over it. Some entries are stored only in a method's overwriting
// form (flag 0), where each pixel overwrites what its left neighbour left.
enum class Take : uint8_t { Add, Store, StoreWhenOverwriting };

struct Tap {
  uint8_t row;     // 0 = current row, 1.. = rows below
  int8_t dx;       // column offset from the pixel
  uint8_t weight;  // share = (e * weight) / divisor, truncating toward zero
  Take take;
};

struct Kernel {
  uint32_t divisor;
  uint32_t rowsPerChannel;
  // The two-row kernels shift the red channel's next row into the current
  // rows of all three channels; longer kernels shift each channel's own.
  bool redCarriesDown;
  bool overwritingForm;
  uint32_t tapCount;
  std::array<Tap, 12> taps;
};

constexpr Take A = Take::Add, S = Take::Store, O = Take::StoreWhenOverwriting;

// clang-format off
constexpr Kernel kFloydSteinberg{16, 2, true, true, 4, {{
    {0, 1, 7, A},
    {1, -1, 3, O}, {1, 0, 5, O}, {1, 1, 1, S}}}};
// The second row below is 1, 3, 5, 1, 3: x+1 and x+2 the mirror of the usual order.
constexpr Kernel kJarvisJudiceNinke{48, 3, false, true, 12, {{
    {0, 1, 7, A}, {0, 2, 5, A},
    {1, -2, 3, A}, {1, -1, 5, A}, {1, 0, 7, A}, {1, 1, 5, A}, {1, 2, 3, A},
    {2, -2, 1, O}, {2, -1, 3, O}, {2, 0, 5, O}, {2, 1, 1, O}, {2, 2, 3, S}}}};
constexpr Kernel kStucki{42, 3, false, false, 12, {{
    {0, 1, 8, A}, {0, 2, 4, A},
    {1, -2, 2, A}, {1, -1, 4, A}, {1, 0, 8, A}, {1, 1, 4, A}, {1, 2, 2, A},
    {2, -2, 1, A}, {2, -1, 2, A}, {2, 0, 4, A}, {2, 1, 2, A}, {2, 2, 1, S}}}};
// The row below is 4, 2, 8, 4, 2: x-2 and x-1 not symmetric with x+1, x+2.
constexpr Kernel kBurkes{32, 2, true, false, 7, {{
    {0, 1, 8, A}, {0, 2, 4, A},
    {1, -2, 4, A}, {1, -1, 2, A}, {1, 0, 8, A}, {1, 1, 4, A}, {1, 2, 2, S}}}};
// Two-row light Sierra. Its e/4 for the row below is computed as (e + 3) >> 2
// for negative e and e >> 2 otherwise, which is e / 4 truncated toward zero,
// and 2e/4 as (2e) / 4: both are the general (e * w) / d.
constexpr Kernel kSierra{4, 2, true, false, 3, {{
    {0, 1, 2, A},
    {1, -1, 1, A}, {1, 0, 1, S}}}};
// Stevenson-Arce: taps at every other position; x+1 of the current row gets nothing.
constexpr Kernel kStevensonArce{200, 4, false, false, 12, {{
    {0, 2, 32, A},
    {1, -3, 12, A}, {1, -1, 26, A}, {1, 1, 30, A}, {1, 3, 16, A},
    {2, -2, 12, A}, {2, 0, 26, A}, {2, 2, 12, A},
    {3, -3, 5, A}, {3, -1, 12, A}, {3, 1, 12, A}, {3, 3, 5, S}}}};
// clang-format on

// In the order of the Diffusion enumeration.
constexpr const Kernel* kKernels[kDiffusionCount] = {
    &kFloydSteinberg, &kJarvisJudiceNinke, &kStucki, &kBurkes, &kSierra, &kStevensonArce,
};

inline int16_t wrap16(int value) {
  return static_cast<int16_t>(value);
}

// Spreads e from column x by tap I of K. The current row's entries x .. x+2
// ride in `ahead` (registers) so that a pixel's right-hand shares reach the
// next pixels without a store and reload; the rows below are written in place.
// A zero error writes nothing: its shares are 0, and an entry a store would
// overwrite keeps its value.
template <const Kernel& K, bool Overwriting, size_t I>
inline void applyTap(int16_t* const* rows, int16_t* ahead, uint32_t x, int e) {
  constexpr Tap tap = K.taps[I];
  constexpr bool store =
      tap.take == Take::Store || (Overwriting && tap.take == Take::StoreWhenOverwriting);
  const int share = (e * tap.weight) / static_cast<int>(K.divisor);
  if constexpr (tap.row == 0) {
    static_assert((tap.dx == 1 || tap.dx == 2) && !store, "current-row taps add to x+1, x+2");
    ahead[tap.dx] = wrap16(ahead[tap.dx] + share);
  } else {
    int16_t* entry = rows[tap.row] + static_cast<ptrdiff_t>(x) + tap.dx;
    *entry = store ? (e != 0 ? wrap16(share) : *entry) : wrap16(*entry + share);
  }
}

template <const Kernel& K, bool Overwriting, size_t... I>
inline void spread(int16_t* const* rows, int16_t* ahead, uint32_t x, int e,
                   std::index_sequence<I...>) {
  (applyTap<K, Overwriting, I>(rows, ahead, x, e), ...);
}

// Runs a row of each channel C...: `quantise(c, x, v)` returns the error of
// channel c's entry x of value v and records the output. The channels share
// no entries, so one loop runs them side by side (their chains of errors
// overlap in the processor); a lone channel skips zero errors by a branch,
// several spread every error.
template <const Kernel& K, bool Overwriting, typename Quantise, size_t... C>
inline void diffuseRows(int16_t* const (*rows)[4], uint32_t width, Quantise quantise,
                        std::index_sequence<C...>) {
  constexpr size_t kChannels = sizeof...(C);
  int16_t* current[kChannels] = {rows[C][0]...};
  int16_t ahead[kChannels][3] = {{current[C][0], current[C][1], current[C][2]}...};
  for (uint32_t x = 0; x < width; ++x) {
    auto step = [&](auto channel) {
      constexpr size_t c = decltype(channel)::value;
      const int e = quantise(channel, x, int{ahead[c][0]});
      if (kChannels > 1 || e != 0)
        spread<K, Overwriting>(rows[c], ahead[c], x, e, std::make_index_sequence<K.tapCount>{});
      ahead[c][0] = ahead[c][1];
      ahead[c][1] = ahead[c][2];
      ahead[c][2] = current[c][x + 3];
    };
    (step(std::integral_constant<size_t, C>{}), ...);
  }
  // Leave the rows as in-place updates would have: only x+1 and x+2 of the
  // last pixel changed past the width.
  for (size_t c = 0; c < kChannels; ++c) {
    current[c][width] = ahead[c][0];
    current[c][width + 1] = ahead[c][1];
  }
}

// 1-bit rows, one per channel: white (bit set) above 128 with error v - 255,
// else black with error v. Bits most significant first.
template <const Kernel& K, bool Overwriting, size_t... C>
void bitRows(int16_t* const (*rows)[4], uint32_t width, uint8_t* const* out,
             std::index_sequence<C...> channels) {
  unsigned bits[sizeof...(C)] = {};
  diffuseRows<K, Overwriting>(
      rows, width,
      [&](auto channel, uint32_t x, int v) {
        constexpr size_t c = decltype(channel)::value;
        const bool white = v > 128;
        bits[c] = bits[c] << 1 | unsigned{white};
        if ((x & 7) == 7) {
          out[c][x >> 3] = static_cast<uint8_t>(bits[c]);
          bits[c] = 0;
        }
        return white ? v - 255 : v;
      },
      channels);
  if (const uint32_t rest = width & 7)
    for (size_t c = 0; c < sizeof...(C); ++c)
      out[c][width >> 3] = static_cast<uint8_t>(bits[c] << (8 - rest));
}

// The 8-bit quantiser of red, green and blue: level = trunc(v / 2^shift)
// clamped to 0..top, error against level * 2^shift (not the palette colour,
// so 255 still carries 31), level stored at bit outShift of the output byte.
struct LevelChannel {
  int shift, top, outShift;
};
constexpr LevelChannel kLevelChannels[3] = {{5, 7, 5}, {5, 7, 2}, {6, 3, 0}};

template <const Kernel& K, bool Overwriting>
void levelRows(int16_t* const (*rows)[4], uint32_t width, uint8_t* out) {
  diffuseRows<K, Overwriting>(
      rows, width,
      [&](auto channel, uint32_t x, int v) {
        constexpr LevelChannel ch = kLevelChannels[decltype(channel)::value];
        const int level = v < 0 ? 0 : std::min(v >> ch.shift, ch.top);
        out[x] = static_cast<uint8_t>(out[x] | (level << ch.outShift));
        return v - (level << ch.shift);
      },
      std::make_index_sequence<3>{});
}

template <const Kernel& K>
void clearLeadEntries(const WorkRows& work, uint32_t channels) {
  for (uint32_t c = 0; c < channels; ++c)
    for (uint32_t k = 1; k < K.rowsPerChannel; ++k)
      std::memset(work.row(c, k), 0, kClearedLeadEntries * sizeof(int16_t));
}

template <const Kernel& K>
void shiftRows(const WorkRows& work, uint32_t channels, uint32_t rowLength) {
  const size_t bytes = size_t{rowLength} * sizeof(int16_t);
  for (uint32_t c = 0; c < channels; ++c) {
    if constexpr (K.redCarriesDown) {
      std::memcpy(work.row(c, 0), work.row(0, 1), bytes);
    } else {
      for (uint32_t k = 0; k + 1 < K.rowsPerChannel; ++k)
        std::memcpy(work.row(c, k), work.row(c, k + 1), bytes);
    }
  }
}

template <const Kernel& K, bool Overwriting>
void diffuse(const SourceRows& source, uint32_t bits, const DitherBuffers& buffers) {
  const uint32_t width = source.width, height = source.height;
  const uint32_t channels = bits == 1 ? 1 : 3;
  const WorkRows work(buffers.work, buffers.rowLength, K.rowsPerChannel);
  const size_t stride = planeStride(bits, width);
  const size_t planeBytes = stride * height;
  int16_t* rows[3][4] = {};
  for (uint32_t c = 0; c < channels; ++c)
    for (uint32_t k = 0; k < K.rowsPerChannel; ++k) rows[c][k] = work.row(c, k);

  // Grey rows of 24-bit pixels go straight into the working row.
  const bool greyFromPixels = bits == 1 && source.depth == 24;
  const DitherKernels& kernels = ditherKernels();
  for (uint32_t y = 0; y < height; ++y) {
    if (greyFromPixels) {
      kernels.addGrey24(source.row(y), width, rows[0][0]);
    } else if (source.depth == 24) {
      kernels.addChannels24(source.row(y), width, rows[0][0], rows[1][0], rows[2][0]);
    } else {
      expandRowToChannels(source, y, buffers.channels);
      if (bits == 1) greyRow(buffers.channels, width);
      for (uint32_t c = 0; c < channels; ++c) {
        int16_t* current = rows[c][0];
        const uint8_t* values = buffers.channels.channel(c);
        for (uint32_t x = 0; x < width; ++x) current[x] = wrap16(current[x] + values[x]);
      }
    }
    clearLeadEntries<K>(work, channels);
    uint8_t* out = buffers.planes + y * stride;
    if (bits == 8) {
      levelRows<K, Overwriting>(rows, width, out);
    } else if (bits == 4) {
      uint8_t* const planes[3] = {out, out + planeBytes, out + 2 * planeBytes};
      bitRows<K, Overwriting>(rows, width, planes, std::make_index_sequence<3>{});
    } else {
      bitRows<K, Overwriting>(rows, width, &out, std::make_index_sequence<1>{});
    }
    shiftRows<K>(work, channels, buffers.rowLength);
  }
}

using Diffuser = void (*)(const SourceRows&, uint32_t, const DitherBuffers&);

// [method][overwriting]: the methods without an overwriting form use their
// one form for both.
template <size_t... M>
constexpr auto makeDiffusers(std::index_sequence<M...>) {
  return std::array<std::array<Diffuser, 2>, sizeof...(M)>{
      {{&diffuse<*kKernels[M], false>, &diffuse<*kKernels[M], kKernels[M]->overwritingForm>}...}};
}
constexpr auto kDiffusers = makeDiffusers(std::make_index_sequence<kDiffusionCount>{});

struct ExportCall {
  Diffusion method;
  bool overwriting;
};

void diffusionCore(const SourceRows& source, uint32_t bits, const DitherBuffers& buffers,
                   const void* context) {
  const auto& call = *static_cast<const ExportCall*>(context);
  diffuseImage(call.method, call.overwriting, source, bits, buffers);
}

// The shell shared by the eight exports. `flag` 0 asks for the overwriting
// form; 8-bit targets always get it.
MemHandle ditherExport(MemHandle image, int32_t bits, Diffusion method, int32_t flag) {
  constexpr DitherChecks kChecks{true, NADIRO_PIXEL_BAD_ARGUMENT, NADIRO_PIXEL_CANNOT_LOCK, false};
  LockedBlock block;
  SourceRows source;
  if (!openDitherSource(image, bits, kChecks, block, source)) return nullptr;
  const auto target = static_cast<uint32_t>(bits);
  const ExportCall call{method, flag == 0 || target == 8};
  const uint64_t workBytes = errorBlockBytes(target, diffusionRowsPerChannel(method),
                                             channelRowLength(source.depth, source.width));
  return runDitherFrame(block, source, target, workBytes, &diffusionCore, &call);
}

}  // namespace

uint32_t diffusionRowsPerChannel(Diffusion method) {
  return kKernels[static_cast<uint32_t>(method)]->rowsPerChannel;
}

void diffuseImage(Diffusion method, bool overwriting, const SourceRows& source, uint32_t bits,
                  const DitherBuffers& buffers) {
  kDiffusers[static_cast<uint32_t>(method)][overwriting ? 1 : 0](source, bits, buffers);
}

}  // namespace nadiro::dither

using nadiro::dither::Diffusion;
using nadiro::dither::ditherExport;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherFS4Ex(NadiroHandle image, int32_t bits,
                                                           int32_t flag) {
  return ditherExport(image, bits, Diffusion::FloydSteinberg, flag);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherFS4(NadiroHandle image, int32_t bits) {
  return ditherExport(image, bits, Diffusion::FloydSteinberg, 0);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherJJNEx(NadiroHandle image, int32_t bits,
                                                           int32_t flag) {
  return ditherExport(image, bits, Diffusion::JarvisJudiceNinke, flag);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherJJN(NadiroHandle image, int32_t bits) {
  return ditherExport(image, bits, Diffusion::JarvisJudiceNinke, 0);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherStucki(NadiroHandle image, int32_t bits) {
  return ditherExport(image, bits, Diffusion::Stucki, 0);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherBurkes(NadiroHandle image, int32_t bits) {
  return ditherExport(image, bits, Diffusion::Burkes, 0);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherSierra(NadiroHandle image, int32_t bits) {
  return ditherExport(image, bits, Diffusion::Sierra, 0);
}
extern "C" NADIRO_API NadiroHandle NADIRO_CALL DitherSA(NadiroHandle image, int32_t bits) {
  return ditherExport(image, bits, Diffusion::StevensonArce, 0);
}
