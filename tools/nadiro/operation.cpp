#include "operation.h"

#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <set>
#include <thread>

#include "formats.h"
#include "progress_bar.h"

namespace nadiro::cli {
namespace {

std::atomic<bool> gInterrupted{false};

extern "C" void onInterrupt(int) { requestInterrupt(); }

struct Job {
  std::string input;
  std::string output;  // full name, or a base name without extension (--out-dir)
};

bool sameFile(const std::string& a, const std::string& b) {
  struct stat sa {}, sb {};
  return ::stat(a.c_str(), &sa) == 0 && ::stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
         sa.st_ino == sb.st_ino;
}

std::string extensionOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  const auto dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  return path.substr(dot + 1);
}

std::string stemOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const auto dot = name.find_last_of('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}


}  // namespace

std::optional<std::array<uint8_t, 3>> parseColour(const std::string& text) {
  std::array<uint8_t, 3> c{};
  size_t start = 0;
  for (int i = 0; i < 3; ++i) {
    const size_t comma = text.find(',', start);
    if ((i < 2) != (comma != std::string::npos)) return std::nullopt;
    const auto v = parseInteger(text.substr(start, comma - start), 0, 255);
    if (!v) return std::nullopt;
    c[size_t(i)] = static_cast<uint8_t>(*v);
    start = comma + 1;
  }
  return c;
}

bool interrupted() { return gInterrupted.load(); }
void requestInterrupt() { gInterrupted.store(true); }
void clearInterrupt() { gInterrupted.store(false); }

std::vector<std::string> withImageFlags(std::vector<std::string> own) {
  for (const char* f : {"--out-dir", "--format", "-j", "--jobs", "--background"})
    own.emplace_back(f);
  return own;
}

int runImageOperation(const char* command, const Args& args, const ImageOp& op) {
  const auto& pos = args.positional();
  const auto outDir = args.value("--out-dir");
  const auto format = args.value("--format");
  ReadOptions readOptions;
  if (const auto bg = args.value("--background")) {
    const auto colour = parseColour(*bg);
    if (!colour) return usage(command, "--background takes R,G,B with each 0..255");
    readOptions.background = *colour;
  }
  if (format && *format != "bmp" && *format != "png" && *format != "jpg")
    return usage(command, "--format must be bmp, png or jpg");
  unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
  for (const char* flag : {"-j", "--jobs"}) {
    if (const auto j = args.value(flag)) {
      const auto n = parseInteger(*j, 1, 256);
      if (!n) return usage(command, std::string(flag) + " takes a number from 1 to 256");
      jobs = static_cast<unsigned>(*n);
    }
  }

  std::vector<Job> work;
  if (outDir) {
    if (pos.empty()) return usage(command, "expected input pictures");
    struct stat st {};
    if (::stat(outDir->c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
      return fail(*outDir, "not a folder");
    std::set<std::string> taken;
    for (const auto& in : pos) {
      std::string base = *outDir + "/" + stemOf(in);
      for (int n = 2; taken.count(base); ++n) base = *outDir + "/" + stemOf(in) + "-" + std::to_string(n);
      taken.insert(base);
      work.push_back({in, base});
    }
  } else {
    if (format) return usage(command, "--format goes with --out-dir");
    if (pos.size() != 2) return usage(command, "expected IN OUT, or IN... --out-dir DIR");
    if (!knownOutputExtension(pos[1]))
      return usage(command, "the output name must end in .bmp, .png or .jpg");
    work.push_back({pos[0], pos[1]});
  }

  std::signal(SIGINT, onInterrupt);
  std::atomic<size_t> next{0};
  std::atomic<int> failures{0};
  std::atomic<bool> noted{false};
  std::mutex printing;
  auto report = [&](const std::string& what, const std::string& message) {
    std::lock_guard lock(printing);
    fail(what, message);
    ++failures;
  };
  auto worker = [&] {
    for (size_t i; !interrupted() && (i = next++) < work.size();) {
      const Job& job = work[i];
      ReadResult in;
      std::string error;
      if (!readImage(job.input, readOptions, in, error)) {
        report(job.input, error);
        continue;
      }
      if (in.composited && !noted.exchange(true)) {
        std::lock_guard lock(printing);
        std::fprintf(stderr, "nadiro: note: transparent pixels were flattened onto %u,%u,%u\n",
                     readOptions.background[0], readOptions.background[1],
                     readOptions.background[2]);
      }
      Dib out;
      bool done;
      {
        const ProgressBarScope bar(stemOf(job.input));
        done = op(in.dib, out, error);
      }
      if (!done) {
        if (!interrupted()) report(job.input, error);
        continue;
      }
      if (interrupted()) break;
      std::string target = job.output;
      if (outDir) {
        std::string ext = format ? *format : extensionOf(job.input);
        if (!knownOutputExtension("x." + ext) ||
            ((ext == "jpg" || ext == "jpeg" || ext == "JPG") && !format && out.bits() != 24))
          ext = "png";
        target += "." + ext;
        for (const auto& other : work) {
          if (sameFile(target, other.input)) {
            report(job.input, "output " + target + " would overwrite an input");
            target.clear();
            break;
          }
        }
        if (target.empty()) continue;
      }
      if (!writeImage(target, out, error)) report(target, error);
    }
  };
  const unsigned threads = std::min<unsigned>(jobs, static_cast<unsigned>(work.size()));
  std::vector<std::thread> pool;
  for (unsigned t = 1; t < threads; ++t) pool.emplace_back(worker);
  worker();
  for (auto& t : pool) t.join();
  if (interrupted()) {
    std::fprintf(stderr, "cancelled\n");
    return 130;
  }
  return failures ? kExitFailed : kExitOk;
}

}  // namespace nadiro::cli
