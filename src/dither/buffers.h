// What the dithering exports share: where a source image's pixels
// lie, the splitting of a source row into three 8-bit channel rows, the grey
// row of 1-bit targets, the padded 16-bit working rows, the scratch blocks,
// and the output image with its fixed 1, 4 or 8-bit palette.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "frame/dib.h"
#include "frame/guards.h"
#include "frame/memory.h"

namespace nadiro::dither {

// Pixel bits of a dither source start at a fixed offset by depth, whatever
// the header's colour count says: a full 16 or 256-entry table is assumed.
inline constexpr uint64_t kPixelOffset4 = dib::kInfoHeaderSize + 4 * 16;
inline constexpr uint64_t kPixelOffset8 = dib::kInfoHeaderSize + 4 * 256;
inline constexpr uint64_t kPixelOffset24 = dib::kInfoHeaderSize;
// The colour table is read as 4-byte entries (blue, green, red, reserved).
inline constexpr size_t kColorTableOffset = dib::kInfoHeaderSize;

// Working rows are 16-bit entries indexable from -6 to L + 13, so that the
// kernels' writes left and right of the row need no bounds tests.
inline constexpr uint32_t kRowPadFront = 6;
inline constexpr uint32_t kRowPadBack = 14;
inline constexpr uint32_t kRowPadding = kRowPadFront + kRowPadBack;
// Entries cleared at the start of every row below before a core runs.
inline constexpr uint32_t kClearedLeadEntries = 6;

// Channel row length L in pixels: twice the source stride for 4-bit
// sources, the width rounded up to a multiple of 4 otherwise.
uint32_t channelRowLength(uint16_t depth, uint32_t width);
// Stride of the output planes: S1 for 1 and 4-bit targets, S8 for 8 bits.
uint32_t planeStride(uint32_t bits, uint32_t width);
// Bytes of the whole output-plane block: one bit plane (1 bit), three bit
// planes red, green, blue (4 bits) or one byte plane (8 bits).
uint64_t planeBlockBytes(uint32_t bits, uint32_t width, uint32_t height);
// Bytes of the working-row block for `rowsPerChannel` rows of each channel
// in use (only red for 1-bit targets): every row L + 20 entries, plus the
// 100 spare bytes the block has always had.
uint64_t errorBlockBytes(uint32_t bits, uint32_t rowsPerChannel, uint32_t rowLength);
// Stride of the output image's rows, So.
uint32_t outputStride(uint32_t bits, uint32_t width);

// A checked source image: every row lies inside the locked block.
struct SourceRows {
  const uint8_t* pixels = nullptr;
  const uint8_t* colorTable = nullptr;  // 16 or 256 entries behind the header
  uint32_t stride = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  uint16_t depth = 0;  // 4, 8 or 24
  const uint8_t* row(uint32_t y) const { return pixels + size_t{y} * stride; }
};

// The three channel rows of one source row (L bytes each).
struct ChannelRows {
  uint8_t* red = nullptr;
  uint8_t* green = nullptr;
  uint8_t* blue = nullptr;
  uint8_t* channel(uint32_t c) const { return c == 0 ? red : c == 1 ? green : blue; }
};

// Splits source row y into channel values: 24-bit pixels are blue, green,
// red; 4 and 8-bit pixels are looked up in the colour table (two pixels per
// byte for 4 bits, high nibble first). The expansion stops at the width:
// padding pixels are never consumed, and expanding them could read past
// the row (and for the last stored row past the block).
void expandRowToChannels(const SourceRows& source, uint32_t y, const ChannelRows& out);
// Replaces the red row by (red * 30 + green * 59 + blue * 11) / 100.
void greyRow(const ChannelRows& rows, uint32_t width);

// The padded working rows inside the working-row block: channel by channel,
// each channel's current row first, then the rows below it. Row 0 of the
// block starts 6 entries in; each following row L + 20 entries later.
class WorkRows {
 public:
  WorkRows(uint8_t* block, uint32_t rowLength, uint32_t rowsPerChannel)
      : block_(block), pitch_(rowLength + kRowPadding), rowsPerChannel_(rowsPerChannel) {}
  // Entry 0 of row k (0 = current) of channel c; entries -6 .. L + 13 are usable.
  int16_t* row(uint32_t channel, uint32_t k) const {
    const size_t index = (size_t{channel} * rowsPerChannel_ + k) * pitch_ + kRowPadFront;
    return reinterpret_cast<int16_t*>(block_) + index;
  }
  uint32_t rowsPerChannel() const { return rowsPerChannel_; }

 private:
  uint8_t* block_;
  size_t pitch_;
  uint32_t rowsPerChannel_;
};

// The 16 or 256-entry palette for a 4 or 8-bit target, the two entries for
// a 1-bit target; entries blue, green, red, reserved.
std::span<const uint8_t> ditherPalette(uint32_t bits);
// Joins three bit planes (red, green, blue, stride S1) into 4-bit rows of
// stride So: pixel index = red * 8 + green * 4 + blue * 2.
void mergeBitPlanes(std::span<const uint8_t> planes, uint32_t width, uint32_t height,
                    std::span<uint8_t> out);

// The scratch blocks of one call, locked for its whole length.
struct DitherBuffers {
  ChannelRows channels;
  uint8_t* planes = nullptr;  // planeBlockBytes(bits, width, height)
  uint8_t* work = nullptr;    // the working-row block
  uint32_t rowLength = 0;     // L
};

// ---- Opening the source and making the output ---------------------------

// The argument checks of an export family; the two families differ on
// purpose in the depths they offer and in their codes.
struct DitherChecks {
  bool eightBitTarget;     // whether bits may be 8 (else only 1 or 4)
  uint32_t nullHandle;     // code for a null image handle
  uint32_t cannotLock;     // code for a handle that does not lock
  bool badDepthKeepsLock;  // the refusal of a source depth leaves the image locked
};

// The checks every dithering export makes, in order: `bits` (code 8, before
// the handle is looked at), the handle, its lock, the source depth against
// the target (deeper, and 4, 8 or 24 bits: code 20), and that the block
// holds the header, the fixed-size colour table and every row (else code
// 8). On success the status is 0, `block` holds the lock and `source` the
// rows; on refusal the status holds the code.
bool openDitherSource(MemHandle image, int32_t bits, const DitherChecks& checks, LockedBlock& block,
                      SourceRows& source);

// Runs one image through a method once the source is checked: sets the
// pixel status to 1, allocates and locks the scratch blocks (channel rows,
// output planes, a working-row block of `workBytes`), calls `core`, unlocks
// the source, builds the output image. Returns it with the status 0, or
// null with the status left at 1 and every scratch block freed.
using ImageCore = void (*)(const SourceRows& source, uint32_t bits, const DitherBuffers& buffers,
                           const void* context);
MemHandle runDitherFrame(LockedBlock& sourceBlock, const SourceRows& source, uint32_t bits,
                         uint64_t workBytes, ImageCore core, const void* context);

}  // namespace nadiro::dither
