// ColorConvolutionW / ColorConvolutionA: the convolution filter's exports.
// The shell checks the image and the kernel in the documented order, makes
// the work buffer and the output, asks the dialog and opens the progress
// dialog; the filtering itself is the engine's (convolution_engine.cpp).
#include <algorithm>
#include <cstring>

#include "channels/convolution_kernel.h"
#include "frame/companion.h"
#include "frame/open_image.h"
#include "frame/progress.h"
#include "frame/scratch.h"
#include "nadiro/nadiro.h"

namespace nadiro::channels {
namespace {

constexpr int32_t kProgressDivisor = 5;

// Progress of the row loop: a step at every multiple of the dialog's
// divisor while the dialog is open; Cancel stops the filter.
bool progressStepHook(void*, int32_t r) {
  const ThreadErrorBlockData* state = threadErrorBlock();
  if (state->progressWindow && state->progressDivisor != 0 && r % state->progressDivisor == 0)
    progressStep();
  return !cancelRequested();
}

struct Arguments {
  MemHandle image;
  uint32_t newImage;
  int32_t lumaMode;
  uint32_t kernelSource;  // as passed; the low 16 bits count
  int32_t size;           // as passed; the low 16 bits count, signed
  KernelFileName fileName;
  const int16_t* kernel;
  uint32_t* errorOut;
  uint32_t flags;
  void* progressOwner;
};

// What a call hands back: the image, or nothing and the code in errorOut
// (NADIRO_PIXEL_OK for a cancelled call).
struct Outcome {
  MemHandle image = nullptr;
  uint32_t code = NADIRO_PIXEL_OK;
};
Outcome refuse(uint32_t code) {
  return {nullptr, code};
}

// The image checks after the lock, in their documented order.
uint32_t checkImage(const OpenImage& source) {
  if (!source.hasHeader() || source.header().size != dib::kInfoHeaderSize)
    return NADIRO_PIXEL_BAD_ARGUMENT;
  const dib::Header& h = source.header();
  if (h.compression != 0) return NADIRO_PIXEL_COMPRESSED;
  if (h.bitCount != 24) return NADIRO_PIXEL_NOT_RGB24;
  if (h.width == 0 || h.height == 0) return NADIRO_PIXEL_EMPTY;
  return NADIRO_PIXEL_OK;
}

// A locked block of `bytes`, or the code that refuses the call.
uint32_t makeLocked(uint64_t bytes, OwnedBlock& owned, LockedBlock& locked) {
  owned = OwnedBlock::allocateTwice(bytes);
  if (!owned) return NADIRO_PIXEL_NO_MEMORY;
  locked = LockedBlock(owned.get());
  return locked ? NADIRO_PIXEL_OK : NADIRO_PIXEL_CANNOT_LOCK;
}

Outcome colorConvolution(const Arguments& args) {
  if (!args.image) return refuse(NADIRO_PIXEL_BAD_ARGUMENT);
  OpenImage source(args.image);
  if (!source) return refuse(NADIRO_PIXEL_CANNOT_LOCK);
  if (const uint32_t code = checkImage(source); code != NADIRO_PIXEL_OK) return refuse(code);
  // Rows the block does not hold (or a negative size) make a bad image.
  const auto layout = source.layout();
  if (!layout) return refuse(NADIRO_PIXEL_BAD_ARGUMENT);

  const auto n = static_cast<int16_t>(args.size);
  Kernel kernel;
  if (const uint32_t code = chooseKernel(static_cast<uint16_t>(args.kernelSource), n, args.kernel,
                                         args.fileName, kernel);
      code != NADIRO_PIXEL_OK)
    return refuse(code);

  // n rows of 2 * width 16-bit values (n is the low 16 bits, unsigned here);
  // the engine's padded rows need a few more when the image is narrower
  // than the kernel.
  auto work = allocateScratch<int16_t>(std::max<uint64_t>(
      uint64_t{static_cast<uint16_t>(n)} * layout->width * 2, workValues(kernel.n, layout->width)));
  if (!work) return refuse(NADIRO_PIXEL_NO_MEMORY);

  OwnedBlock made;
  LockedBlock out;
  if (args.newImage != 0) {
    const uint64_t pixelBytes = uint64_t{layout->stride} * layout->height;
    const uint64_t imageSize =
        layout->header.sizeImage != 0 ? layout->header.sizeImage : pixelBytes;
    // An image-size field too small for the rows would leave the filtered
    // rows no room: such a header is refused.
    if (imageSize < pixelBytes) return refuse(NADIRO_PIXEL_BAD_ARGUMENT);
    if (const uint32_t code = makeLocked(dib::kInfoHeaderSize + imageSize, made, out);
        code != NADIRO_PIXEL_OK)
      return refuse(code);
    std::memcpy(out.data(), source.data(), dib::kInfoHeaderSize);
  }

  if (args.flags == 2 || args.flags == 3) {
    // The dialog only lets the call go on or end it; the kernel and the
    // settings stay those established above.
    const DialogResult answer = showCompanionDialog(
        companion::kColorConvUi, args.image, args.newImage, args.lumaMode, args.kernelSource,
        args.size, args.fileName.wide, args.kernel, args.errorOut);
    if (answer == DialogResult::Cancelled) return {};
  }
  const bool progress = args.flags == 1 || args.flags == 3;
  if (progress && !progressCreate(args.progressOwner,
                                  (static_cast<int32_t>(layout->height) - n + 4) /
                                      kProgressDivisor * kProgressDivisor,
                                  kProgressDivisor))
    return {};

  ConvolutionRows rows;
  rows.src = source.data() + layout->pixelOffset;
  rows.dst = out ? out.data() + dib::kInfoHeaderSize : source.data() + layout->pixelOffset;
  rows.stride = layout->stride;
  rows.width = layout->width;
  rows.height = layout->height;
  const std::span<int16_t> ring(work.get(), workValues(kernel.n, layout->width));
  const StepHook hook{progress ? &progressStepHook : nullptr, nullptr};
  // Cancel ends the call at once; the dialog closed itself when it was
  // cancelled, so it is not destroyed here.
  if (!convolve(kernel, args.lumaMode == kLumaMode, rows, ring, hook)) return {};

  // The work buffer goes and the source unlocks before the dialog closes.
  work.reset();
  source.block().unlock();
  if (progress) progressDestroy();
  if (!out) return {args.image, NADIRO_PIXEL_OK};
  out.unlock();
  return {made.release(), NADIRO_PIXEL_OK};
}

// Both exports end here with the name in both forms they have.
MemHandle runConvolution(const Arguments& args) {
  if (args.errorOut) *args.errorOut = NADIRO_PIXEL_OK;
  const Outcome outcome = colorConvolution(args);
  if (outcome.code != NADIRO_PIXEL_OK && args.errorOut) *args.errorOut = outcome.code;
  return outcome.image;
}

}  // namespace
}  // namespace nadiro::channels

using namespace nadiro;

extern "C" NADIRO_API NadiroHandle NADIRO_CALL
ColorConvolutionW(NadiroHandle image, uint32_t newImage, int32_t lumaMode, uint32_t kernelSource,
                  int32_t size, const wchar_t* fileName, const int16_t* kernel, uint32_t* errorOut,
                  uint32_t flags, NadiroWindow progressOwner) {
  return channels::runConvolution({image,
                                   newImage,
                                   lumaMode,
                                   kernelSource,
                                   size,
                                   {fileName, nullptr},
                                   kernel,
                                   errorOut,
                                   flags,
                                   progressOwner});
}

extern "C" NADIRO_API NadiroHandle NADIRO_CALL
ColorConvolutionA(NadiroHandle image, uint32_t newImage, int32_t lumaMode, uint32_t kernelSource,
                  int32_t size, const char* fileName, const int16_t* kernel, uint32_t* errorOut,
                  uint32_t flags, NadiroWindow progressOwner) {
  // A null name stays null (refused where a file is used). Otherwise the
  // file opens by the narrow name and the dialog is shown the wide one.
  const auto wide = fileName ? channels::widenFileName(fileName) : nullptr;
  if (fileName && !wide) {
    if (errorOut) *errorOut = NADIRO_PIXEL_NO_MEMORY;
    return nullptr;
  }
  const channels::KernelFileName names{wide.get(), fileName};
  return channels::runConvolution({image, newImage, lumaMode, kernelSource, size, names, kernel,
                                   errorOut, flags, progressOwner});
}
