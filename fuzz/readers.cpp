// The tool's picture readers (BMP, PNG, JPEG, by content): a picture is
// either refused with a message or comes back as a packed image whose rows
// lie inside it.
#include "formats.h"
#include "harness.h"

namespace nadiro::fuzz {

void runReaders(Input& in) {
  cli::ReadOptions options;
  for (auto& c : options.background) c = in.u8();
  const auto file = in.rest();
  cli::ReadResult out;
  std::string error;
  if (!cli::decodeImage(file, options, out, error)) {
    FUZZ_EXPECT(!error.empty(), "readers: refused without a message");
    return;
  }
  const cli::Dib& d = out.dib;
  FUZZ_EXPECT(d.bytes.size() >= 40, "readers");
  FUZZ_EXPECT(d.width() >= 0 && d.height() >= 0, "readers");
  FUZZ_EXPECT(d.bits() == 1 || d.bits() == 4 || d.bits() == 8 || d.bits() == 24 || d.bits() == 32,
              "readers");
  FUZZ_EXPECT(d.pixelOffset() + uint64_t{d.stride()} * uint32_t(d.height()) <= d.bytes.size(),
              "readers: rows outside the image");
}

}  // namespace nadiro::fuzz
