// The demo gallery: each operation family renders its results of the
// built-in sample picture into one section of demo-out/index.html.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "image.h"

namespace nadiro::cli {

struct DemoContext {
  std::string outDir;
  Dib sample;  // the built-in 24-bit picture
  Dib grey;    // the same as 8-bit grey

  struct Entry {
    std::string section, file, title, params;
  };
  std::vector<Entry> entries;
  int failures = 0;

  // Writes `image` as outDir/file and records it under `section`.
  void add(const std::string& section, const std::string& file, const std::string& title,
           const std::string& params, const Dib& image);
  // Records a failed operation (the gallery still gets written).
  void failed(const std::string& what);
};

// One setting of an operation as the gallery shows it.
template <typename Settings>
struct DemoCase {
  Settings settings;
  const char* file;
  const char* title;
  const char* params;  // the command's flags for this setting
};

// Renders every case from the sample with apply(sample, settings, result,
// error) into `section`; a case that fails is recorded as a failure instead.
template <typename Settings, typename Apply>
void addDemoCases(DemoContext& demo, const char* section, const char* command,
                  std::span<const DemoCase<Settings>> cases, Apply apply) {
  for (const DemoCase<Settings>& c : cases) {
    Dib result;
    std::string error;
    if (!apply(demo.sample, c.settings, result, error)) {
      demo.failed(std::string(c.file) + ": " + error);
      continue;
    }
    demo.add(section, c.file, c.title, std::string("nadiro ") + command + " " + c.params, result);
  }
}

// A photo-like picture made in code: smooth gradients, hard edges, fine detail.
Dib makeSampleImage(int32_t width, int32_t height);

}  // namespace nadiro::cli
