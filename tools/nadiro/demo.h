// The demo gallery: each operation family renders its results of the
// built-in sample picture into one section of demo-out/index.html.
#pragma once

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

// A photo-like picture made in code: smooth gradients, hard edges, fine detail.
Dib makeSampleImage(int32_t width, int32_t height);

}  // namespace nadiro::cli
