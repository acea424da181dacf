// The engine's exports: argument checks in the documented order, the
// palette and matrix the options name, progress, then the core, and the
// result written to the caller's buffer only when the run completed.
#include <algorithm>
#include <cstring>
#include <new>
#include <optional>

#include "engine/engine.h"
#include "engine/kernels.h"
#include "frame/progress.h"
#include "nadiro/dither_engine.h"

namespace nadiro::engine {
namespace {

// Byte layout of each pixel format; one row per NadiroPixelFormat.
struct Layout {
  uint32_t format;
  uint32_t bytesPerPixel;
  std::array<uint32_t, 3> rgbAt;
  int32_t alphaAt;  // -1: none
  bool sourceOk;
};
constexpr Layout kLayouts[] = {
    {NADIRO_PIXELS_GREY8, 1, {0, 0, 0}, -1, true}, {NADIRO_PIXELS_RGB24, 3, {0, 1, 2}, -1, true},
    {NADIRO_PIXELS_BGR24, 3, {2, 1, 0}, -1, true}, {NADIRO_PIXELS_RGBA32, 4, {0, 1, 2}, 3, true},
    {NADIRO_PIXELS_BGRA32, 4, {2, 1, 0}, 3, true}, {NADIRO_PIXELS_INDEX8, 1, {0, 0, 0}, -1, false},
};

const Layout* layoutOf(uint32_t format, bool asSource) {
  for (const Layout& l : kLayouts)
    if (l.format == format && (l.sourceOk || !asSource)) return &l;
  return nullptr;
}

// A stride of at least one row, and the whole block addressable.
bool strideFits(uint32_t stride, uint32_t width, uint32_t height, const Layout& l) {
  const uint64_t row = uint64_t{width} * l.bytesPerPixel;
  if (stride < row) return false;
  const uint64_t extent = uint64_t{stride} * (height - 1) + row;
  return extent <= static_cast<uint64_t>(PTRDIFF_MAX);
}

constexpr uint32_t kBayerSides[] = {2, 4, 8, 16};
constexpr uint32_t kClusteredMin = 3, kClusteredMax = 16;

NadiroDitherOptions defaults() {
  NadiroDitherOptions o{};
  o.size = sizeof(NadiroDitherOptions);
  o.method = NADIRO_METHOD_DIFFUSION;
  o.kernel = NADIRO_KERNEL_FLOYD_STEINBERG;
  o.matrix = NADIRO_MATRIX_BLUE_NOISE;
  o.matrixSize = 8;
  o.palette = NADIRO_PALETTE_MEDIAN_CUT;
  o.paletteCount = 16;
  o.serpentine = 1;
  o.strength = 100;
  o.clampError = 1;
  o.space = NADIRO_SPACE_SRGB;
  o.distance = NADIRO_DISTANCE_EUCLIDEAN;
  return o;
}

Kernel kernelOf(const NadiroCustomKernel& c) {
  Kernel k{c.columns, c.rows, c.origin, c.divisor, {}};
  std::copy(std::begin(c.weights), std::end(c.weights), k.weights.begin());
  return k;
}

int32_t checkMethod(const NadiroDitherOptions& o) {
  if (o.method == NADIRO_METHOD_DIFFUSION) {
    if (o.kernel > NADIRO_KERNEL_CUSTOM) return NADIRO_DITHER_BAD_METHOD;
    if (o.kernel == NADIRO_KERNEL_CUSTOM && !kernelIsValid(kernelOf(o.customKernel)))
      return NADIRO_DITHER_BAD_KERNEL;
  } else if (o.method == NADIRO_METHOD_ORDERED) {
    switch (o.matrix) {
      case NADIRO_MATRIX_BAYER:
        if (std::find(std::begin(kBayerSides), std::end(kBayerSides), o.matrixSize) ==
            std::end(kBayerSides))
          return NADIRO_DITHER_BAD_MATRIX;
        break;
      case NADIRO_MATRIX_CLUSTERED:
        if (o.matrixSize < kClusteredMin || o.matrixSize > kClusteredMax)
          return NADIRO_DITHER_BAD_MATRIX;
        break;
      case NADIRO_MATRIX_BLUE_NOISE:
        break;
      case NADIRO_MATRIX_CUSTOM: {
        const NadiroCustomMatrix& m = o.customMatrix;
        if (!m.values || m.width < 1 || m.width > NADIRO_MATRIX_MAX_SIDE || m.height < 1 ||
            m.height > NADIRO_MATRIX_MAX_SIDE)
          return NADIRO_DITHER_BAD_MATRIX;
        break;
      }
      default:
        return NADIRO_DITHER_BAD_METHOD;
    }
  } else if (o.method != NADIRO_METHOD_NEAREST) {
    return NADIRO_DITHER_BAD_METHOD;
  }
  return NADIRO_DITHER_OK;
}

int32_t checkPalette(const NadiroDitherOptions& o) {
  switch (o.palette) {
    case NADIRO_PALETTE_BLACK_WHITE:
    case NADIRO_PALETTE_RGB_CORNERS:
    case NADIRO_PALETTE_RGB332:
    case NADIRO_PALETTE_WEB_SAFE:
      return NADIRO_DITHER_OK;
    case NADIRO_PALETTE_CUSTOM:
      if (!o.paletteColors) return NADIRO_DITHER_BAD_PALETTE;
      [[fallthrough]];
    case NADIRO_PALETTE_MEDIAN_CUT:
    case NADIRO_PALETTE_KMEANS:
      return o.paletteCount >= 1 && o.paletteCount <= 256 ? NADIRO_DITHER_OK
                                                          : NADIRO_DITHER_BAD_PALETTE;
    default:
      return NADIRO_DITHER_BAD_PALETTE;
  }
}

int32_t checkArguments(const NadiroDitherSource& s, const NadiroDitherTarget& t,
                       const NadiroDitherOptions& o) {
  if (s.width < 1 || s.height < 1 || s.width > NADIRO_DITHER_MAX_SIDE ||
      s.height > NADIRO_DITHER_MAX_SIDE)
    return NADIRO_DITHER_BAD_SIZE;
  const Layout* in = layoutOf(s.format, true);
  const Layout* out = layoutOf(t.format, false);
  if (!in || !out) return NADIRO_DITHER_BAD_FORMAT;
  if (!strideFits(s.stride, s.width, s.height, *in) ||
      !strideFits(t.stride, s.width, s.height, *out))
    return NADIRO_DITHER_BAD_STRIDE;
  if (const int32_t code = checkMethod(o)) return code;
  if (const int32_t code = checkPalette(o)) return code;
  if (o.strength > 100 || o.space > NADIRO_SPACE_LINEAR || o.distance > NADIRO_DISTANCE_WEIGHTED)
    return NADIRO_DITHER_BAD_SETTING;
  return NADIRO_DITHER_OK;
}

std::vector<Rgb> paletteOf(const NadiroDitherOptions& o, const RowSource& s) {
  switch (o.palette) {
    case NADIRO_PALETTE_CUSTOM: {
      std::vector<Rgb> p(o.paletteCount);
      std::memcpy(p.data(), o.paletteColors, size_t{o.paletteCount} * 3);
      return p;
    }
    case NADIRO_PALETTE_MEDIAN_CUT:
    case NADIRO_PALETTE_KMEANS: {
      return choosePalette(
          s, o.paletteCount,
          o.palette == NADIRO_PALETTE_KMEANS ? Chooser::KMeans : Chooser::MedianCut);
    }
    default:
      return fixedPalette(static_cast<FixedPalette>(o.palette));
  }
}

RankMatrix matrixOf(const NadiroDitherOptions& o) {
  switch (o.matrix) {
    case NADIRO_MATRIX_BAYER:
      return bayerMatrix(o.matrixSize);
    case NADIRO_MATRIX_CLUSTERED:
      return clusteredMatrix(o.matrixSize);
    case NADIRO_MATRIX_BLUE_NOISE:
      return blueNoiseMatrix();
    default: {
      const NadiroCustomMatrix& m = o.customMatrix;
      return {m.width, m.height,
              std::vector<uint16_t>(m.values, m.values + size_t{m.width} * m.height)};
    }
  }
}

// Progress by rows: the dialog spans height + 1 units and steps every
// kRowsPerStep rows; closed on every path.
constexpr int32_t kRowsPerStep = 16;

class ProgressRun {
 public:
  ProgressRun(bool showing, void* owner, uint32_t rows) : showing_(showing) {
    if (showing_)
      opened_ = progressCreate(owner, static_cast<int32_t>(rows) + 1, kRowsPerStep) != 0;
  }
  ~ProgressRun() {
    if (showing_) progressDestroy();
  }
  ProgressRun(const ProgressRun&) = delete;
  ProgressRun& operator=(const ProgressRun&) = delete;
  bool failed() const { return showing_ && !opened_; }
  RowCallback callback() { return {showing_ ? &step : &always, nullptr}; }

 private:
  static bool always(void*, uint32_t) { return true; }
  static bool step(void*, uint32_t row) {
    if (row % kRowsPerStep == 0 && progressOpen()) progressStep();
    return !cancelRequested();
  }
  bool showing_;
  bool opened_ = false;
};

// Where a block of `rows` rows of `stride` bytes, the last `row` bytes
// long, starts and ends, as addresses.
struct Extent {
  uintptr_t begin, end;
};
Extent extentOf(const void* first, uint32_t stride, uint32_t rows, uint64_t row) {
  const uintptr_t begin = reinterpret_cast<uintptr_t>(first);
  return {begin, begin + static_cast<uintptr_t>(uint64_t{stride} * (rows - 1) + row)};
}

// Indices go straight into an INDEX8 target when the run cannot stop half
// way (no progress dialog, so no Cancel; nothing is allocated once rows
// are written) and the target shares no byte with the source.
bool indicesDirect(const NadiroDitherSource& src, const Layout& in,
                   const NadiroDitherTarget& target, const Layout& out, bool showProgress) {
  if (out.format != NADIRO_PIXELS_INDEX8 || showProgress) return false;
  const Extent a =
      extentOf(src.pixels, src.stride, src.height, uint64_t{src.width} * in.bytesPerPixel);
  const Extent b = extentOf(target.pixels, target.stride, src.height, src.width);
  return a.end <= b.begin || b.end <= a.begin;
}

// Colours (or indices kept aside) into the target, then the palette.
void writeTarget(const RowSource& s, const Layout& in, const uint8_t* indices,
                 std::span<const Rgb> palette, NadiroDitherTarget& t, const Layout& out) {
  for (uint32_t y = 0; indices && y < s.height; ++y) {
    const uint8_t* index = indices + size_t{y} * s.width;
    const uint8_t* from = s.pixels + y * s.stride;
    uint8_t* to = static_cast<uint8_t*>(t.pixels) + size_t{y} * t.stride;
    if (out.format == NADIRO_PIXELS_INDEX8) {
      std::memmove(to, index, s.width);
      continue;
    }
    for (uint32_t x = 0; x < s.width; ++x, from += in.bytesPerPixel, to += out.bytesPerPixel) {
      const Rgb& c = palette[index[x]];
      const uint8_t alpha = in.alphaAt >= 0 ? from[in.alphaAt] : uint8_t{255};
      if (out.bytesPerPixel == 1) {
        to[0] = c[1];
        continue;
      }
      for (size_t k = 0; k < 3; ++k) to[out.rgbAt[k]] = c[k];
      if (out.alphaAt >= 0) to[out.alphaAt] = alpha;
    }
  }
  t.paletteCount = static_cast<uint32_t>(palette.size());
  std::memset(t.palette, 0, sizeof t.palette);
  std::memcpy(t.palette, palette.data(), palette.size() * 3);
}

int32_t run(const NadiroDitherSource& src, NadiroDitherTarget& target,
            const NadiroDitherOptions& o) {
  const Layout& in = *layoutOf(src.format, true);
  const Layout& out = *layoutOf(target.format, false);
  const RowSource s{static_cast<const uint8_t*>(src.pixels),
                    src.stride,
                    src.width,
                    src.height,
                    in.bytesPerPixel,
                    in.rgbAt};
  const std::vector<Rgb> palette = paletteOf(o, s);
  Settings settings;
  settings.method = static_cast<Method>(o.method);
  // The kernel and matrix fields were checked only if the method uses them.
  if (settings.method == Method::Diffusion) {
    const bool custom = o.kernel == NADIRO_KERNEL_CUSTOM;
    settings.kernel = custom ? kernelOf(o.customKernel) : builtInKernel(o.kernel);
    settings.builtIn = custom ? kBuiltInKernels : o.kernel;
  }
  std::optional<RankMatrix> matrix;
  if (settings.method == Method::Ordered) matrix = matrixOf(o);
  settings.matrix = matrix ? &*matrix : nullptr;
  settings.serpentine = o.serpentine != 0;
  settings.strength = o.strength;
  settings.clampError = o.clampError != 0;
  settings.linear = o.space == NADIRO_SPACE_LINEAR;
  settings.weighted = o.distance == NADIRO_DISTANCE_WEIGHTED;

  const bool direct = indicesDirect(src, in, target, out, o.showProgress != 0);
  std::vector<uint8_t> kept(direct ? 0 : size_t{src.width} * src.height);
  const IndexRows indices = direct ? IndexRows{static_cast<uint8_t*>(target.pixels), target.stride}
                                   : IndexRows{kept.data(), src.width};
  ProgressRun progress(o.showProgress != 0, o.progressOwner, src.height);
  if (progress.failed()) return NADIRO_DITHER_NO_PROGRESS;
  if (!dither(s, palette, settings, progress.callback(), indices)) return NADIRO_DITHER_CANCELLED;
  writeTarget(s, in, direct ? nullptr : kept.data(), palette, target, out);
  return NADIRO_DITHER_OK;
}

constexpr const char* kStatusTexts[] = {
    "success",
    "a required pointer is null",
    "the options' size is not known to this library",
    "width or height is zero or too large",
    "unknown pixel format",
    "a stride is shorter than a row",
    "unknown method, kernel or matrix",
    "the caller kernel is not valid",
    "the threshold matrix is not valid",
    "the palette is not valid",
    "strength, colour space or distance out of range",
    "out of memory",
    "progress could not be shown",
    "cancelled",
};

}  // namespace
}  // namespace nadiro::engine

extern "C" NADIRO_API int32_t NADIRO_CALL NadiroDitherOptionsInit(NadiroDitherOptions* options) {
  if (!options) return NADIRO_DITHER_NULL_ARGUMENT;
  *options = nadiro::engine::defaults();
  return NADIRO_DITHER_OK;
}

extern "C" NADIRO_API int32_t NADIRO_CALL NadiroDither(const NadiroDitherSource* source,
                                                       NadiroDitherTarget* target,
                                                       const NadiroDitherOptions* options) {
  using namespace nadiro::engine;
  if (!source || !target || !source->pixels || !target->pixels) return NADIRO_DITHER_NULL_ARGUMENT;
  // The size first: a smaller block must not be read past its end.
  if (options && options->size != sizeof(NadiroDitherOptions))
    return NADIRO_DITHER_BAD_OPTIONS_SIZE;
  const NadiroDitherOptions o = options ? *options : defaults();
  if (const int32_t code = checkArguments(*source, *target, o)) return code;
  try {
    return run(*source, *target, o);
  } catch (...) {
    // Only allocations can fail in the run (bad_alloc, or a length that no
    // vector can hold on a 32-bit host).
    return NADIRO_DITHER_NO_MEMORY;
  }
}

extern "C" NADIRO_API const char* NADIRO_CALL NadiroDitherStatusText(int32_t status) {
  using nadiro::engine::kStatusTexts;
  if (status < 0 || static_cast<size_t>(status) >= std::size(kStatusTexts)) return "unknown status";
  return kStatusTexts[status];
}
