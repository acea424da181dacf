// `nadiro convolve`: the convolution filter with a kernel from the command
// line, a kernel file or one of the built-in filters.
#include <string>
#include <vector>

#include "bmp.h"
#include "cli.h"
#include "demo.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

struct Filter {
  const char* name;
  uint32_t source;  // the library's kernelSource
  const char* title;
  bool sevenByseven;
};

const Filter kFilters[] = {
    {"mean", 3, "Mean (box)", true},
    {"gaussian", 4, "Gaussian", false},
    {"sharpen4", 5, "Four-neighbour sharpen", false},
    {"sharpen8", 6, "Eight-neighbour sharpen", false},
};

// How the kernel of one run is given to the library.
struct KernelChoice {
  uint32_t source = 1;
  std::vector<int16_t> values;  // source 1: n * n weights, then the divisor
  std::string file;             // source 2
};

// "v1,v2,...;divisor": n * n whole numbers, an optional divisor (0 = sum).
bool parseKernel(const std::string& text, int32_t n, std::vector<int16_t>& out,
                 std::string& error) {
  const auto semicolon = text.find(';');
  const std::string weights = text.substr(0, semicolon);
  const std::string divisor = semicolon == std::string::npos ? "0" : text.substr(semicolon + 1);
  out.clear();
  size_t start = 0;
  while (true) {
    const size_t comma = weights.find(',', start);
    const auto v = parseInteger(weights.substr(start, comma - start), -32768, 32767);
    if (!v) {
      error = "--kernel weights must be whole numbers separated by commas";
      return false;
    }
    out.push_back(static_cast<int16_t>(*v));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (out.size() != static_cast<size_t>(n * n)) {
    error = "--kernel needs " + std::to_string(n * n) + " weights for --size " + std::to_string(n) +
            ", got " + std::to_string(out.size());
    return false;
  }
  const auto d = parseInteger(divisor, -32768, 32767);
  if (!d) {
    error = "the divisor after ';' must be a whole number";
    return false;
  }
  out.push_back(static_cast<int16_t>(*d));
  return true;
}

std::string describe(uint32_t code) {
  switch (code) {
    case 1:
      return "out of memory";
    case 8:
      return "the kernel was refused: every weight must lie within -127..127 and the "
             "positive and the negative weights must each sum to at most 127";
    case 13:
      return "the picture is not 24-bit";
    case 17:
      return "an image block could not be locked";
    case 18:
      return "the picture is compressed";
    case 19:
      return "the picture is empty";
    default:
      return "the library refused the picture (code " + std::to_string(code) + ")";
  }
}

bool convolvePicture(const Dib& in, const KernelChoice& kernel, int32_t n, bool luma, Dib& out,
                     std::string& error) {
  Handle image(toRgb24(in));
  uint32_t code = 0;
  const NadiroHandle result = ColorConvolutionA(
      image.get(), 0, luma ? 1 : 0, kernel.source, n, kernel.file.c_str(),
      kernel.values.empty() ? nullptr : kernel.values.data(), &code, kShowProgress, nullptr);
  if (!result) {
    error = describe(code);
    return false;
  }
  out = image.dib();
  return true;
}

int run(std::span<const std::string> args) {
  const Args a(args, withImageFlags({"--kernel", "--kernel-file", "--filter", "--size"}),
               withImageSwitches({"--luma"}));
  if (!a.ok()) return usage("convolve", a.error());
  const auto size = parseInteger(a.value("--size").value_or("3"), 3, 7);
  if (!size || (*size != 3 && *size != 5 && *size != 7))
    return usage("convolve", "--size must be 3, 5 or 7");
  const auto n = static_cast<int32_t>(*size);
  const int given = a.has("--kernel") + a.has("--kernel-file") + a.has("--filter");
  if (given != 1) return usage("convolve", "give exactly one of --kernel, --kernel-file, --filter");

  KernelChoice kernel;
  if (a.has("--kernel")) {
    std::string error;
    if (!parseKernel(*a.value("--kernel"), n, kernel.values, error))
      return usage("convolve", error);
  } else if (a.has("--kernel-file")) {
    if (n == 7) return usage("convolve", "kernel files take --size 3 or 5");
    kernel.source = 2;
    kernel.file = *a.value("--kernel-file");
    // The kernel file is checked once, and blamed by its own name.
    std::vector<uint8_t> bytes;
    std::string error;
    if (kernel.file == "-") return usage("convolve", "--kernel-file takes a file name");
    if (!readFile(kernel.file, bytes, error)) return fail(kernel.file, error);
    const size_t need = 2 * size_t(n) * size_t(n) + 2;
    if (bytes.size() < need)
      return fail(kernel.file, "kernel file too short: --size " + std::to_string(n) + " needs " +
                                   std::to_string(need) + " bytes, it has " +
                                   std::to_string(bytes.size()));
  } else {
    const std::string name = *a.value("--filter");
    const Filter* filter = nullptr;
    for (const Filter& f : kFilters)
      if (name == f.name) filter = &f;
    if (!filter) return usage("convolve", "--filter must be mean, gaussian, sharpen4 or sharpen8");
    if (n == 7 && !filter->sevenByseven)
      return usage("convolve", std::string("--filter ") + name + " takes --size 3 or 5");
    kernel.source = filter->source;
  }
  const bool luma = a.has("--luma");
  return runImageOperation("convolve", a, [&](const Dib& in, Dib& out, std::string& error) {
    return convolvePicture(in, kernel, n, luma, out, error);
  });
}

}  // namespace

void demoConvolution(DemoContext& demo) {
  struct Shown {
    const char* filter;
    int32_t n;
  };
  for (const Shown s :
       {Shown{"mean", 3}, Shown{"mean", 7}, Shown{"gaussian", 3}, Shown{"gaussian", 5},
        Shown{"sharpen4", 3}, Shown{"sharpen8", 3}, Shown{"sharpen8", 5}}) {
    const Filter* filter = nullptr;
    for (const Filter& f : kFilters)
      if (std::string(s.filter) == f.name) filter = &f;
    KernelChoice kernel;
    kernel.source = filter->source;
    const std::string size = std::to_string(s.n);
    const std::string file = std::string("convolve-") + s.filter + "-" + size + ".png";
    Dib result;
    std::string error;
    if (!convolvePicture(demo.sample, kernel, s.n, false, result, error)) {
      demo.failed(file + ": " + error);
      continue;
    }
    demo.add("Convolution", file, std::string(filter->title) + ", " + size + " x " + size,
             std::string("nadiro convolve --filter ") + s.filter + " --size " + size, result);
  }
  // A caller's kernel: edges, on the luminance.
  KernelChoice edges;
  edges.values = {-1, -1, -1, -1, 8, -1, -1, -1, -1, 0};
  Dib result;
  std::string error;
  if (convolvePicture(demo.sample, edges, 3, true, result, error))
    demo.add("Convolution", "convolve-edges.png", "Edge kernel on the luminance",
             "nadiro convolve --kernel \"-1,-1,-1,-1,8,-1,-1,-1,-1;0\" --luma", result);
  else
    demo.failed("convolve-edges.png: " + error);
}

extern const Command kConvolveCommand = {
    "convolve", "Filters", "convolution with a kernel, a kernel file or a built-in filter",
    "Usage: nadiro convolve (--kernel K | --kernel-file F | --filter NAME) [--size N]\n"
    "                       [--luma] IN OUT\n\n"
    "Filters the brightness of each pixel (the mean of its three channels, or the\n"
    "luminance (3 R + 15 G + 8 B) / 26 with --luma) with an N x N kernel and adds\n"
    "the change to all three channels, so colours keep their differences.\n"
    "Pixels outside the picture repeat the edge.\n\n"
    "  --kernel \"v1,v2,...;D\"  N*N whole-number weights, then an optional divisor\n"
    "                          D. Weight number i*N+j (from 0) weighs the pixel\n"
    "                          N/2-i columns right and N/2-j rows up. D defaults\n"
    "                          to 0: the weight sum (or 1\n"
    "                          when that is 0; a negative D negates the kernel).\n"
    "                          Every weight within -127..127; the positive weights\n"
    "                          and the negative ones each sum to at most 127.\n"
    "  --kernel-file F         the same as little-endian 16-bit values: N*N\n"
    "                          weights then the divisor (2 N N + 2 bytes); size 3, 5\n"
    "  --filter NAME           mean (size 3, 5, 7), gaussian (3, 5; divisor 16, 44),\n"
    "                          sharpen4, sharpen8 (3, 5)\n"
    "  --size N                3, 5 or 7, default 3\n"
    "  --luma                  filter the luminance instead of the channel "
    "mean\n\n" NADIRO_IMAGE_FLAGS_HELP
    "\n"
    "Input: any picture the tool reads; it is made 24-bit first.\n\n"
    "Example:\n  nadiro convolve --kernel \"0,-1,0,-1,5,-1,0,-1,0;1\" photo.jpg sharp.png\n",
    run};

}  // namespace nadiro::cli
