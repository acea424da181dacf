// ColorConvolutionW / ColorConvolutionA: the convolution filter's entry
// points. Everything before the first filtered row lives here: the checks on
// the image, the kernel from the caller's array, a kernel file or a built-in
// filter, the kernel limits and the divisor rule, the output image, the
// parameter dialog and the progress dialog. The filtering is engine.cpp.
#include "channels/kernel.h"

#include <cstring>

#include "channels/kernel_file.h"
#include "frame/companion.h"
#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/progress.h"
#include "nadiro/nadiro.h"

namespace nadiro::channels {

CallerKernel loadCallerKernel(std::span<const int16_t> values, int32_t n) {
  CallerKernel k;
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = 0; j < n; ++j) k.m[j][i] = values[static_cast<size_t>(i * n + j)];
  k.divisor = values[static_cast<size_t>(n * n)];
  return k;
}

CallerKernel loadKernelFile(std::span<const uint8_t> bytes, int32_t n) {
  int16_t values[kMaxKernelSize * kMaxKernelSize + 1];
  const size_t count = static_cast<size_t>(n * n + 1);
  for (size_t v = 0; v < count; ++v)
    values[v] = static_cast<int16_t>(bytes[2 * v] | (bytes[2 * v + 1] << 8));
  return loadCallerKernel({values, count}, n);
}

bool withinLimits(const CallerKernel& k) {
  int32_t positive = 0, negative = 0;
  for (const auto& row : k.m) {
    for (const int16_t v : row) {
      if (v > kKernelLimit || v < -kKernelLimit) return false;
      if (v > 0) positive += v;
      if (v < 0) negative -= v;
      if (positive > kKernelLimit || negative > kKernelLimit) return false;
    }
  }
  return positive <= kKernelLimit && negative <= kKernelLimit;
}

Kernel prepareCallerKernel(const CallerKernel& k, int32_t n) {
  Kernel out;
  out.n = n;
  out.rightEdgeSlip = true;
  int32_t positive = 0, negative = 0;
  for (int32_t a = 0; a < kMaxKernelSize; ++a)
    for (int32_t b = 0; b < kMaxKernelSize; ++b) {
      out.m[a][b] = k.m[a][b];
      if (k.m[a][b] > 0) positive += k.m[a][b];
      if (k.m[a][b] < 0) negative -= k.m[a][b];
    }
  int32_t divisor = k.divisor != 0 ? k.divisor : static_cast<int16_t>(positive - negative);
  if (divisor == 0) divisor = 1;
  if (divisor < 0) {
    divisor = -divisor;
    for (auto& row : out.m)
      for (int16_t& v : row) v = static_cast<int16_t>(-v);
  }
  out.divisor = divisor;
  return out;
}

namespace {

// Scratch and output blocks are tried twice before the call gives up.
OwnedBlock allocateTwice(uint64_t bytes) {
  OwnedBlock block = OwnedBlock::allocate(bytes);
  if (!block) block = OwnedBlock::allocate(bytes);
  return block;
}

// Progress of the row loop: a step at every multiple of the dialog's
// divisor while the dialog is open; Cancel stops the filter.
bool progressStepHook(void*, int32_t r) {
  const ThreadErrorBlockData* state = ThreadErrorBlock();
  if (state->progressWindow && state->progressDivisor != 0 && r % state->progressDivisor == 0)
    ProgressStep();
  return !cancelRequested();
}

constexpr int32_t kProgressDivisor = 5;

struct Arguments {
  MemHandle image;
  uint32_t newImage;
  int32_t lumaMode;
  uint32_t kernelSource;  // as passed; the low 16 bits count
  int32_t size;           // as passed; the low 16 bits count, signed
  const wchar_t* fileName;
  const int16_t* kernel;
  uint32_t* errorOut;
  uint32_t flags;
  void* progressOwner;
};

// The kernel of the call, or the code that refuses it.
uint32_t chooseKernel(uint16_t source, int16_t n, const Arguments& args, Kernel& kernel) {
  if ((source == kFromArray && !args.kernel) || (source == kFromFile && !args.fileName) ||
      source < kFromArray || source > kSharpen8)
    return kConvBadArgument;
  if (n < 3 || n > kMaxKernelSize) return kConvBadArgument;
  if ((n == 6 || n == 7) && source != kFromArray && source != kMean) return kConvBadArgument;
  // Sizes 4 and 6 have no filter core.
  if (n == 4 || n == 6) return kConvBadArgument;

  if (source == kFromArray || source == kFromFile) {
    CallerKernel caller;
    if (source == kFromArray) {
      caller = loadCallerKernel({args.kernel, static_cast<size_t>(n * n + 1)}, n);
    } else {
      uint8_t bytes[(kMaxKernelSize * kMaxKernelSize + 1) * 2];
      const size_t want = kernelFileBytes(n);
      const auto got = readKernelFile(args.fileName, bytes, want);
      // A file too short for its weights and divisor is refused like one
      // that cannot be opened.
      if (!got || *got < want) return kConvBadArgument;
      caller = loadKernelFile({bytes, want}, n);
    }
    if (!withinLimits(caller)) return kConvBadArgument;
    kernel = prepareCallerKernel(caller, n);
    return kConvOk;
  }
  return builtinKernel(static_cast<KernelSource>(source), n, kernel) ? kConvOk : kConvBadArgument;
}

MemHandle colorConvolution(const Arguments& args, uint32_t& code) {
  code = kConvOk;
  if (!args.image) {
    code = kConvBadArgument;
    return nullptr;
  }
  LockedBlock source(args.image);
  if (!source) {
    code = kConvCannotLock;
    return nullptr;
  }
  if (source.size() < dib::kInfoHeaderSize ||
      dib::load<uint32_t>(source.data(), dib::kSize) != dib::kInfoHeaderSize) {
    code = kConvBadArgument;
    return nullptr;
  }
  const dib::Header header = dib::readHeader(source.data());
  if (header.compression != 0) {
    code = kConvCompressed;
    return nullptr;
  }
  if (header.bitCount != 24) {
    code = kConvNotRgb24;
    return nullptr;
  }
  if (header.width == 0 || header.height == 0) {
    code = kConvEmpty;
    return nullptr;
  }
  // Rows the block does not hold (or a negative size) make a bad image.
  const auto layout = dib::measure(source.data(), source.size());
  if (!layout) {
    code = kConvBadArgument;
    return nullptr;
  }

  const auto n = static_cast<int16_t>(args.size);
  Kernel kernel;
  code = chooseKernel(static_cast<uint16_t>(args.kernelSource), n, args, kernel);
  if (code != kConvOk) return nullptr;

  OwnedBlock work = allocateTwice(uint64_t{static_cast<uint16_t>(n)} * layout->width * 4);
  if (!work) {
    code = kConvNoMemory;
    return nullptr;
  }
  LockedBlock workRows(work.get());
  if (!workRows) {
    code = kConvCannotLock;
    return nullptr;
  }

  const uint64_t pixelBytes = uint64_t{layout->stride} * layout->height;
  OwnedBlock made;
  LockedBlock out;
  if (args.newImage != 0) {
    const uint64_t imageSize = header.sizeImage != 0 ? header.sizeImage : pixelBytes;
    // An image-size field too small for the rows would leave the filtered
    // rows no room: such a header is refused.
    if (imageSize < pixelBytes) {
      code = kConvBadArgument;
      return nullptr;
    }
    made = allocateTwice(dib::kInfoHeaderSize + imageSize);
    if (!made) {
      code = kConvNoMemory;
      return nullptr;
    }
    out = LockedBlock(made.get());
    if (!out) {
      code = kConvCannotLock;
      return nullptr;
    }
    std::memcpy(out.data(), source.data(), dib::kInfoHeaderSize);
  }

  if (args.flags == 2 || args.flags == 3) {
    // The dialog only lets the call go on or end it; the kernel and the
    // settings stay those established above.
    const DialogResult answer = showCompanionDialog(
        companion::kColorConvUi, args.image, args.newImage, args.lumaMode, args.kernelSource,
        args.size, args.fileName, args.kernel, args.errorOut);
    if (answer == DialogResult::Cancelled) return nullptr;
  }
  const bool progress = args.flags == 1 || args.flags == 3;
  if (progress &&
      !ProgressCreate(args.progressOwner,
                      (static_cast<int32_t>(layout->height) - n + 4) / kProgressDivisor *
                          kProgressDivisor,
                      kProgressDivisor))
    return nullptr;

  ConvolutionRows rows;
  rows.src = source.data() + layout->pixelOffset;
  rows.dst = out ? out.data() + dib::kInfoHeaderSize : source.data() + layout->pixelOffset;
  rows.stride = layout->stride;
  rows.width = layout->width;
  rows.height = layout->height;
  const std::span<int16_t> ring(reinterpret_cast<int16_t*>(workRows.data()),
                                workValues(kernel.n, layout->width));
  const StepHook hook{progress ? &progressStepHook : nullptr, nullptr};
  // Cancel ends the call at once; the dialog closed itself when it was
  // cancelled, so it is not destroyed here.
  if (!convolve(kernel, args.lumaMode == kLumaMode, rows, ring, hook)) return nullptr;

  workRows.unlock();
  work.reset();
  source.unlock();
  if (progress) ProgressDestroy();
  if (!out) return args.image;
  out.unlock();
  return made.release();
}

}  // namespace
}  // namespace nadiro::channels

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL ColorConvolutionW(
    NadiroHandle image, uint32_t newImage, int32_t lumaMode, uint32_t kernelSource, int32_t size,
    const wchar_t* fileName, const int16_t* kernel, uint32_t* errorOut, uint32_t flags,
    NadiroWindow progressOwner) {
  if (errorOut) *errorOut = channels::kConvOk;
  const channels::Arguments args{image,    newImage, lumaMode, kernelSource, size,
                                 fileName, kernel,   errorOut, flags,        progressOwner};
  uint32_t code = channels::kConvOk;
  MemHandle result = channels::colorConvolution(args, code);
  if (code != channels::kConvOk && errorOut) *errorOut = code;
  return result;
}

extern "C" NADIRO_API NadiroHandle NADIRO_CALL ColorConvolutionA(
    NadiroHandle image, uint32_t newImage, int32_t lumaMode, uint32_t kernelSource, int32_t size,
    const char* fileName, const int16_t* kernel, uint32_t* errorOut, uint32_t flags,
    NadiroWindow progressOwner) {
  // A null name stays null (the wide form refuses it where a file is used).
  if (!fileName)
    return ColorConvolutionW(image, newImage, lumaMode, kernelSource, size, nullptr, kernel,
                             errorOut, flags, progressOwner);
  const OwnedBlock wide = channels::widenFileName(fileName);
  const LockedBlock name(wide.get());
  if (!name) {
    if (errorOut) *errorOut = channels::kConvNoMemory;
    return nullptr;
  }
  return ColorConvolutionW(image, newImage, lumaMode, kernelSource, size,
                           reinterpret_cast<const wchar_t*>(name.data()), kernel, errorOut, flags,
                           progressOwner);
}
