// The demo gallery: each operation family renders its results of the
// built-in sample picture (or the user's own) into one section of
// demo-out/index.html, each result beside its input at 1:1, captioned with
// the command that makes it.
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
    std::string section, file, title, command, note;
    int32_t width, height;
    bool fromSample;  // shown beside the sample it was made from
  };
  std::vector<Entry> entries;
  int failures = 0;

  // Writes `image` as outDir/file and records it under `section`. A `params`
  // starting with "nadiro " is the command without its file names (they are
  // added); `note` explains in one line what to look for.
  void add(const std::string& section, const std::string& file, const std::string& title,
           const std::string& params, const Dib& image, const std::string& note = {});
  // The same with the whole command line given.
  void addMade(const std::string& section, const std::string& file, const std::string& title,
               const std::string& command, const Dib& image, const std::string& note = {});
  // Records a failed operation (the gallery still gets written).
  void failed(const std::string& what);
};

// One setting of an operation as the gallery shows it.
template <typename Settings>
struct DemoCase {
  Settings settings;
  const char* file;
  const char* title;
  const char* params;          // the command's flags for this setting
  const char* note = nullptr;  // a visible quirk, in one line
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
    demo.add(section, c.file, c.title, std::string("nadiro ") + command + " " + c.params, result,
             c.note ? c.note : "");
  }
}

// A photo-like picture made in code: smooth gradients, hard edges, fine detail.
Dib makeSampleImage(int32_t width, int32_t height);

}  // namespace nadiro::cli
