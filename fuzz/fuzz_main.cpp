// One libFuzzer target per harness; NADIRO_FUZZ_HARNESS names it.
#include <cstdio>
#include <cstdlib>

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const nadiro::fuzz::Harness* harness = [] {
    const auto* h = nadiro::fuzz::findHarness(NADIRO_FUZZ_HARNESS);
    if (!h) {
      std::fprintf(stderr, "no harness named %s\n", NADIRO_FUZZ_HARNESS);
      std::abort();
    }
    return h;
  }();
  nadiro::fuzz::runInput(*harness, {data, size});
  return 0;
}
