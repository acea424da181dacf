// The one way an export opens a caller's image: lock it (undone on every
// path), read the header when the block holds one, and measure its rows.
// Each export then checks what it needs in its own documented order.
#pragma once

#include <cassert>
#include <cstdint>
#include <optional>

#include "frame/dib.h"
#include "frame/guards.h"

namespace nadiro {

class OpenImage {
 public:
  OpenImage() = default;
  explicit OpenImage(MemHandle image) : block_(image) {
    if (block_ && block_.size() >= dib::kInfoHeaderSize) header_ = dib::readHeader(block_.data());
  }

  // Whether the handle locked.
  explicit operator bool() const { return static_cast<bool>(block_); }
  // Whether the locked block is long enough for a 40-byte header.
  bool hasHeader() const { return header_.has_value(); }
  const dib::Header& header() const {
    assert(header_);
    return *header_;
  }
  // The rows behind the header's colour table at the header's own depth;
  // nothing unless the block holds them all.
  std::optional<dib::Layout> layout() const {
    return hasHeader() ? dib::measure(block_.data(), block_.size()) : std::nullopt;
  }

  uint8_t* data() const { return block_.data(); }
  size_t size() const { return block_.size(); }
  LockedBlock& block() { return block_; }

 private:
  LockedBlock block_;
  std::optional<dib::Header> header_;
};

}  // namespace nadiro
