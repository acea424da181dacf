#include "operation.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

#include "progress_bar.h"

namespace nadiro::cli {
namespace {

volatile std::sig_atomic_t gInterrupted = 0;

extern "C" void onInterrupt(int) {
  requestInterrupt();
}

// Ctrl-C sets the flag; a second Ctrl-C ends the program the usual way.
void catchInterrupt() {
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
}

struct Job {
  std::vector<std::string> inputs;
  std::string output;  // the full name, a prefix, or a stem in --out-dir without extension
};

bool sameFile(const std::string& a, const std::string& b) {
  struct stat sa {
  }, sb{};
  return a != "-" && b != "-" && ::stat(a.c_str(), &sa) == 0 && ::stat(b.c_str(), &sb) == 0 &&
         sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

std::string stemOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const auto dot = name.find_last_of('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

// OUTPREFIX "dir/photo.bmp" gives "dir/photo" and "bmp"; without a known
// extension the whole prefix is the stem.
void splitName(const std::string& name, std::string& stem, std::string& format) {
  format = outputFormatOf(name);
  stem = format.empty() ? name : name.substr(0, name.find_last_of('.'));
}

// The validated settings of one run.
struct Run {
  ReadOptions read;
  WriteOptions write;
  std::optional<std::string> outDir, format;
  unsigned jobs = 1;
  bool force = false;
};

int parseRun(const char* command, const Args& args, Run& run) {
  if (const auto bg = args.value("--background")) {
    const auto colour = parseColour(*bg);
    if (!colour) return usage(command, "--background takes R,G,B with each 0..255");
    run.read.background = *colour;
  }
  run.format = args.value("--format");
  if (run.format) {
    const std::string f = outputFormatOf("x." + *run.format);
    if (f.empty()) return usage(command, std::string("--format must be ") + kOutputFormats);
    run.format = f;
  }
  static constexpr IntOption kOptions[] = {
      {"--jobs", 1, 256, 0}, {"--quality", 1, 100, 90}, {"--compression", 0, 9, 2}};
  long long values[3];
  if (!readIntOptions(command, args, kOptions, values)) return kExitUsage;
  run.jobs = values[0] ? unsigned(values[0]) : std::max(1u, std::thread::hardware_concurrency());
  run.write.quality = int(values[1]);
  run.write.compression = int(values[2]);
  run.write.tagged = args.has("--tagged");
  run.outDir = args.value("--out-dir");
  run.force = args.has("--force") || args.has("--in-place");
  return kExitOk;
}

// Both names an output of `job` may get: its own format and the PNG fallback.
std::vector<std::string> candidateTargets(const Job& job, const OperationShape& shape,
                                          const std::string& ownFormat) {
  std::vector<std::string> names;
  for (const auto& suffix : shape.suffixes)
    for (const std::string& f : {ownFormat, std::string("png")})
      names.push_back(job.output + suffix + "." + f);
  return names;
}

}  // namespace

bool makeFolders(const std::string& path, std::string& error) {
  for (size_t at = 1; at <= path.size(); ++at) {
    if (at < path.size() && path[at] != '/') continue;
    const std::string part = path.substr(0, at);
    struct stat st {};
    if (::stat(part.c_str(), &st) == 0) {
      if (!S_ISDIR(st.st_mode)) {
        error = part + " is a file, not a folder";
        return false;
      }
    } else if (::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
      error = "cannot create " + part + ": " + std::strerror(errno);
      return false;
    }
  }
  return true;
}

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

bool readIntOptions(const char* command, const Args& args, std::span<const IntOption> options,
                    std::span<long long> values) {
  for (size_t i = 0; i < options.size(); ++i) {
    const IntOption& o = options[i];
    const auto text = args.value(o.flag);
    const auto v = text ? parseInteger(*text, o.lo, o.hi) : std::optional<long long>(o.fallback);
    if (!v) {
      usage(command, std::string(o.flag) + " must be a whole number from " + std::to_string(o.lo) +
                         " to " + std::to_string(o.hi) + " (got '" + *text + "')");
      return false;
    }
    values[i] = *v;
  }
  return true;
}

bool interrupted() {
  return gInterrupted != 0;
}
void requestInterrupt() {
  gInterrupted = 1;
}
void clearInterrupt() {
  gInterrupted = 0;
}

std::vector<std::string> withImageFlags(std::vector<std::string> own) {
  for (const char* f :
       {"--out-dir", "--format", "--jobs", "--background", "--quality", "--compression"})
    own.emplace_back(f);
  return own;
}

std::vector<std::string> withImageSwitches(std::vector<std::string> own) {
  for (const char* f : {"--force", "--in-place"}) own.emplace_back(f);
  return own;
}

int runImageOperation(const char* command, const Args& args, const ImageOp& op) {
  return runPictureOperation(
      command, args, OperationShape{},
      [&](std::span<const ReadResult> in, std::vector<OutputPicture>& out, std::string& error) {
        out.assign(1, OutputPicture{});
        return op(in[0].dib, out[0].dib, error);
      });
}

int runPictureOperation(const char* command, const Args& args, const OperationShape& shape,
                        const PictureOp& op) {
  Run run;
  if (const int code = parseRun(command, args, run)) return code;
  const auto& pos = args.positional();
  const size_t group = shape.inputsPerJob;

  // Every name is settled before any picture is read.
  std::vector<Job> work;
  std::string singleFormat;  // the format of IN OUT
  if (run.outDir) {
    if (pos.empty() || pos.size() % group != 0)
      return usage(command, group == 1
                                ? "expected input pictures"
                                : "expected groups of " + std::to_string(group) + " pictures");
    std::set<std::string> taken;
    for (size_t i = 0; i < pos.size(); i += group) {
      const std::string stem = shape.stem ? shape.stem(stemOf(pos[i])) : stemOf(pos[i]);
      std::string base = *run.outDir + "/" + stem;
      for (int n = 2; taken.count(base); ++n)
        base = *run.outDir + "/" + stem + "-" + std::to_string(n);
      taken.insert(base);
      work.push_back({{pos.begin() + ptrdiff_t(i), pos.begin() + ptrdiff_t(i + group)}, base});
    }
  } else {
    if (pos.size() != group + 1)
      return usage(command, shape.outputIsPrefix ? "expected IN OUTPREFIX, or IN... --out-dir DIR"
                            : group == 1
                                ? "expected IN OUT, or IN... --out-dir DIR"
                                : "expected " + std::to_string(group) +
                                      " pictures and OUT, or groups of them with --out-dir DIR");
    std::string stem;
    splitName(pos[group], stem, singleFormat);
    if (run.format) singleFormat = *run.format;
    if (singleFormat.empty()) {
      if (!shape.outputIsPrefix)
        return usage(command, pos[group] == "-"
                                  ? std::string("writing to standard output needs --format")
                                  : "the output name must end in .bmp, .png, .jpg or .webp");
      singleFormat = "png";
    }
    if (pos[group] == "-" && shape.suffixes.size() != 1)
      return usage(command, "several pictures cannot go to standard output");
    // A name without a known extension gets the --format one.
    const std::string& out = pos[group];
    const std::string name = shape.outputIsPrefix ? stem
                             : out == "-" || !outputFormatOf(out).empty()
                                 ? out
                                 : out + "." + singleFormat;
    work.push_back({{pos.begin(), pos.begin() + ptrdiff_t(group)}, name});
  }
  // One rule for every form: an output never replaces an input unless asked.
  if (!run.force) {
    for (const Job& job : work) {
      const std::string own = run.format ? *run.format : outputFormatOf(job.inputs[0]);
      const auto names = run.outDir || shape.outputIsPrefix
                             ? candidateTargets(job, shape, own.empty() ? "png" : own)
                             : std::vector<std::string>{job.output};
      for (const auto& name : names)
        for (const Job& other : work)
          for (const auto& in : other.inputs)
            if (sameFile(name, in))
              return usage(command, "the output " + name + " would replace the input " + in +
                                        " (give --force to allow it)");
    }
  }
  if (run.outDir) {
    std::string error;
    if (!makeFolders(*run.outDir, error)) return fail(*run.outDir, error);
  }

  catchInterrupt();
  std::atomic<size_t> next{0}, written{0};
  std::atomic<int> failures{0};
  std::atomic<bool> noted{false};
  std::mutex printing;
  BatchProgress progress(work.size());
  auto report = [&](const std::string& what, const std::string& message) {
    std::lock_guard lock(printing);
    progress.clearLine();
    fail(what, message);
    ++failures;
  };
  auto runJob = [&](const Job& job) {
    std::vector<ReadResult> in(job.inputs.size());
    std::string error;
    for (size_t k = 0; k < in.size(); ++k) {
      if (!readImage(job.inputs[k], run.read, in[k], error)) return report(job.inputs[k], error);
      if (in[k].composited && !noted.exchange(true)) {
        std::lock_guard lock(printing);
        progress.clearLine();
        std::fprintf(stderr, "nadiro: note: transparent pixels were flattened onto %u,%u,%u\n",
                     run.read.background[0], run.read.background[1], run.read.background[2]);
      }
    }
    if (interrupted()) return;
    std::vector<OutputPicture> out;
    bool done;
    {
      const ProgressBarScope bar(progress, stemOf(job.inputs[0]));
      done = op(in, out, error);
    }
    if (interrupted()) return;
    if (!done) return report(job.inputs[0], error);
    // A set of outputs is written whole or not at all.
    std::vector<std::string> made;
    for (const OutputPicture& o : out) {
      WriteOptions options = run.write;
      options.meta.exif = in[0].meta.exif;
      if (o.dib.bits() == 24 && o.dib.compression() == 0) options.meta.icc = in[0].meta.icc;
      std::string target = job.output + o.suffix;
      if (run.outDir || shape.outputIsPrefix || target == "-" || outputFormatOf(target).empty()) {
        options.format =
            run.outDir ? (run.format ? *run.format : outputFormatOf(job.inputs[0])) : singleFormat;
        if (options.format.empty() || (!run.format && !formatHolds(options.format, o.dib)))
          options.format = "png";
        if (target != "-") target += "." + options.format;
      } else if (run.format) {
        options.format = *run.format;
      }
      if (!writeImage(target, o.dib, error, options)) {
        for (const auto& m : made) std::remove(m.c_str());
        if (!interrupted()) report(target, error);
        return;
      }
      made.push_back(target);
    }
    if (shape.suffixes.size() > 1 && !run.outDir && pos.back() != "-") {
      std::lock_guard lock(printing);
      progress.clearLine();
      for (const auto& m : made) std::printf("%s\n", m.c_str());
    }
    ++written;
  };
  auto worker = [&] {
    for (size_t i; !interrupted() && (i = next++) < work.size();) {
      progress.started();
      runJob(work[i]);
      progress.finished();
    }
  };
  const unsigned threads = std::min<unsigned>(run.jobs, static_cast<unsigned>(work.size()));
  std::vector<std::thread> pool;
  for (unsigned t = 1; t < threads; ++t) pool.emplace_back(worker);
  worker();
  for (auto& t : pool) t.join();
  progress.clearLine();
  if (interrupted() && written + size_t(failures) < work.size()) {
    if (written)
      std::fprintf(stderr, "nadiro: cancelled (%zu of %zu pictures were written before)\n",
                   written.load(), work.size());
    else
      std::fprintf(stderr, "nadiro: cancelled, nothing written\n");
    return 130;
  }
  return failures ? kExitFailed : kExitOk;
}

}  // namespace nadiro::cli
