// The harnesses without libFuzzer: replays the corpus files as regression
// tests in every build, and writes the generated part of the corpus.
//
//   nadiro_fuzz_replay HARNESS FILE_OR_FOLDER...   run every file; each must
//       pass the harness's checks within NADIRO_FUZZ_SECONDS (default 2)
//   nadiro_fuzz_replay --generate CORPUS           write the synthetic inputs
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "harness.h"

#if defined(NADIRO_FUZZ_READERS)
#include "formats.h"
#endif

namespace fs = std::filesystem;
using nadiro::fuzz::Encoder;

namespace {

// As libFuzzer's -malloc_limit_mb: no input may make one allocation this large.
constexpr size_t kMallocLimit = size_t{256} << 20;

#if defined(NADIRO_FUZZ_HEAP_STATS)
size_t largestAllocation = 0;
void onMalloc(const volatile void*, size_t size) {
  largestAllocation = std::max(largestAllocation, size);
}
void onFree(const volatile void*) {}
#endif

std::vector<uint8_t> readFile(const fs::path& path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

void writeFile(const fs::path& path, const std::vector<uint8_t>& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

std::vector<uint8_t> pattern(size_t n) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(i * 37 + 11);
  return v;
}

// An image in the builder's spelling: exact header fields, a size plan
// (0 rows held exactly) and fill bytes.
struct Image {
  uint32_t bits = 24, width = 3, height = 2, planes = 1, compression = 0, headerSize = 40;
  uint32_t colorsUsed = 0, sizeImage = 0;
  std::vector<uint8_t> fill;
};
Image sized(uint32_t bits, uint32_t width, uint32_t height, size_t fill = 0) {
  Image i;
  i.bits = bits;
  i.width = width;
  i.height = height;
  i.fill = pattern(fill);
  return i;
}
void put(Encoder& e, const Image& i) {
  e.u8(0).raw(i.bits).raw(i.width).raw(i.height).raw(i.planes).raw(i.compression);
  e.raw(i.headerSize).raw(i.colorsUsed).raw(i.sizeImage).u8(0).u8(0);
  e.u16(static_cast<uint16_t>(i.fill.size())).bytes(i.fill);
}

#if defined(NADIRO_FUZZ_READERS)
void putBe32(std::vector<uint8_t>& v, uint32_t x) {
  for (int s = 24; s >= 0; s -= 8) v.push_back(static_cast<uint8_t>(x >> s));
}
uint32_t crc32(const uint8_t* p, size_t n) {
  uint32_t c = ~0u;
  for (size_t i = 0; i < n; ++i) {
    c ^= p[i];
    for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xEDB88320u & (0u - (c & 1)));
  }
  return ~c;
}
void pngChunk(std::vector<uint8_t>& v, const char* type, const std::vector<uint8_t>& data) {
  putBe32(v, static_cast<uint32_t>(data.size()));
  const size_t start = v.size();
  v.insert(v.end(), type, type + 4);
  v.insert(v.end(), data.begin(), data.end());
  putBe32(v, crc32(v.data() + start, v.size() - start));
}
std::vector<uint8_t> readerInput(const std::vector<uint8_t>& file) {
  std::vector<uint8_t> v = {255, 255, 255};  // background
  v.insert(v.end(), file.begin(), file.end());
  return v;
}
#endif

// Inputs that once took minutes or gigabytes, spelled out; and one
// well-formed call per harness family as a seed.
void generate(const fs::path& corpus) {
  const fs::path crashers = corpus / "crashers", seeds = corpus / "seeds";
  const Image zeroWide24 = sized(24, 0, 0x7FFFFFFF), zeroWide8 = sized(8, 0, 0x7FFFFFFF);
  {  // Split a 24-bit image of width 0 and 2^31 - 1 rows.
    Encoder e;
    e.u8(0).raw(1).u8(1);
    put(e, zeroWide24);
    writeFile(crashers / "channels" / "split-zero-width-tall", e.out);
  }
  {  // Merge three zero-width channels into a zero-width destination.
    Encoder e;
    e.u8(1).raw(1).raw(0).raw(0x7FFFFFFF);
    for (int i = 0; i < 4; ++i) put(e, zeroWide8);
    put(e, zeroWide24);
    writeFile(crashers / "channels" / "merge-zero-width-tall", e.out);
  }
  {  // Ordered dithering of an 8-bit image of width 0 and 2^31 - 1 rows.
    Encoder e;
    e.u8(10).raw(1).raw(0).raw(4);
    put(e, zeroWide8);
    writeFile(crashers / "dither" / "ordered-zero-width-tall", e.out);
  }
  // Diffusion of images with no rows but very wide: the scratch rows would
  // be hundreds of megabytes before the empty output is refused.
  for (const auto& [name, bits, width] : {std::tuple{"fs4-no-rows-wide-8bit", 8u, 0x0FFFFFF0u},
                                          std::tuple{"fs4-no-rows-wide-4bit", 4u, 0x1FFFFFF0u}}) {
    Encoder e;
    e.u8(0).raw(1).raw(0).raw(0);
    put(e, sized(bits, width, 0));
    writeFile(crashers / "dither" / name, e.out);
  }

  // Seeds: one ordinary call of each kind.
  const Image small24 = sized(24, 5, 4, 80), small8 = sized(8, 5, 4, 1024 + 32);
  for (uint8_t which = 0; which <= 10; ++which) {
    Encoder e;
    e.u8(which).raw(which % 2 ? 4 : 1).raw(which % 3 == 0).raw(which % 7);
    put(e, which % 2 ? small24 : small8);
    writeFile(seeds / "dither" / ("call-" + std::to_string(which)), e.out);
  }
  for (uint8_t kind = 0; kind < 2; ++kind) {
    Encoder e;
    e.u8(kind).raw(1).raw(kind ? 4 : 6).u8(0).u16(0);
    if (kind == 0)
      put(e, small24);
    else
      e.raw(12).u8(0).bytes(pattern(12));
    writeFile(seeds / "color" / ("call-" + std::to_string(kind)), e.out);
  }
  for (uint8_t which = 0; which < 6; ++which) {
    Encoder e;
    e.u8(which).raw(10).raw(20).raw(30).raw(0).raw(0).raw(0).raw(0).u16(0);
    put(e, small24);
    writeFile(seeds / "adjust" / ("call-" + std::to_string(which)), e.out);
  }
  {
    Encoder split, merge;
    split.u8(0).raw(2).u8(1);
    put(split, small24);
    merge.u8(1).raw(4).raw(5).raw(4);
    for (int i = 0; i < 4; ++i) put(merge, small8);
    put(merge, small24);
    writeFile(seeds / "channels" / "split", split.out);
    writeFile(seeds / "channels" / "merge", merge.out);
  }
  for (uint32_t source = 1; source <= 6; ++source) {
    Encoder e;
    e.raw(1).raw(1).raw(source).raw(3).u8(source == 2 ? 1 : 0).raw(0).u16(0);
    std::vector<uint8_t> weights(100, 0);
    for (size_t i = 0; i < 9; ++i) weights[2 * i] = 1;  // a 3 x 3 mean, divisor 0
    e.bytes(weights).u8(1);
    put(e, small24);
    writeFile(seeds / "convolve" / ("source-" + std::to_string(source)), e.out);
  }

#if defined(NADIRO_FUZZ_READERS)
  using nadiro::cli::Dib;
  Dib picture = Dib::blank(9, 7, 24);
  for (size_t i = 40; i < picture.bytes.size(); ++i) picture.bytes[i] = static_cast<uint8_t>(i * 7);
  std::vector<uint8_t> png, jpeg;
  std::string error;
  if (!nadiro::cli::encodePng(picture, png, error) ||
      !nadiro::cli::encodeJpeg(picture, jpeg, error))
    throw std::runtime_error(error);
  std::vector<uint8_t> bmp = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0};
  bmp.insert(bmp.end(), picture.bytes.begin(), picture.bytes.end());
  writeFile(seeds / "readers" / "picture.png", readerInput(png));
  writeFile(seeds / "readers" / "picture.jpg", readerInput(jpeg));
  writeFile(seeds / "readers" / "picture.bmp", readerInput(bmp));

  // A 69-byte PNG claiming 16384 x 16384 RGBA pixels.
  std::vector<uint8_t> hugePng = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::vector<uint8_t> ihdr;
  putBe32(ihdr, 16384);
  putBe32(ihdr, 16384);
  ihdr.insert(ihdr.end(), {8, 6, 0, 0, 0});
  pngChunk(hugePng, "IHDR", ihdr);
  pngChunk(hugePng, "IDAT", {0x78, 0x9C, 0x63, 0x60, 0x00, 0x00, 0x00, 0x02, 0x00, 0x01, 0x00});
  pngChunk(hugePng, "IEND", {});
  writeFile(crashers / "readers" / "png-16384-rgba-no-data", readerInput(hugePng));

  // A progressive JPEG header claiming 65500 x 65500 pixels.
  for (size_t i = 0; i + 8 < jpeg.size(); ++i) {
    if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xC0) {
      jpeg[i + 1] = 0xC2;
      for (size_t at : {i + 5, i + 7}) {
        jpeg[at] = 0xFF;
        jpeg[at + 1] = 0xDC;
      }
      break;
    }
  }
  writeFile(crashers / "readers" / "jpeg-65500-progressive", readerInput(jpeg));
#endif
}

int replay(const nadiro::fuzz::Harness& harness, int count, char** paths) {
  const char* limitText = std::getenv("NADIRO_FUZZ_SECONDS");
  const double limit = limitText ? std::atof(limitText) : 2.0;
  std::vector<fs::path> files;
  for (int i = 0; i < count; ++i) {
    if (!fs::exists(paths[i])) continue;  // a folder not made yet
    if (fs::is_directory(paths[i])) {
      for (const auto& entry : fs::directory_iterator(paths[i]))
        if (entry.is_regular_file()) files.push_back(entry.path());
    } else {
      files.emplace_back(paths[i]);
    }
  }
  std::sort(files.begin(), files.end());
  int failures = 0;
  for (const fs::path& file : files) {
    const auto bytes = readFile(file);
    std::printf("%s: %s\n", harness.name, file.filename().string().c_str());
    std::fflush(stdout);
#if defined(NADIRO_FUZZ_HEAP_STATS)
    largestAllocation = 0;
#endif
    const auto start = std::chrono::steady_clock::now();
    nadiro::fuzz::runInput(harness, bytes);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    if (took.count() > limit) {
      std::printf("  FAILED: took %.2f s (limit %.2f s)\n", took.count(), limit);
      ++failures;
    }
#if defined(NADIRO_FUZZ_HEAP_STATS)
    if (largestAllocation > kMallocLimit) {
      std::printf("  FAILED: allocated %zu bytes at once\n", largestAllocation);
      ++failures;
    }
#endif
  }
  std::printf("%s: %zu inputs, %d failed\n", harness.name, files.size(), failures);
  return failures == 0 && !files.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
#if defined(NADIRO_FUZZ_HEAP_STATS)
  if (!__sanitizer_install_malloc_and_free_hooks(&onMalloc, &onFree))
    nadiro::fuzz::fail("replay", "cannot watch allocations");
#endif
  if (argc == 3 && std::string(argv[1]) == "--generate") {
    generate(argv[2]);
    return 0;
  }
  const nadiro::fuzz::Harness* harness = argc >= 3 ? nadiro::fuzz::findHarness(argv[1]) : nullptr;
  if (!harness) {
    std::fprintf(stderr, "usage: %s HARNESS FILE_OR_FOLDER... | --generate CORPUS\n", argv[0]);
    return 2;
  }
  return replay(*harness, argc - 2, argv + 2);
}
