// nadiro: run the library's operations on image files.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"
#include "nadiro/nadiro.h"

namespace nadiro::cli {

extern const Command kOrderedDitherCommand;
extern const Command kDemoCommand;

std::span<const Command* const> commands() {
  static const Command* const kAll[] = {
      &kOrderedDitherCommand,
      &kDemoCommand,
  };
  return kAll;
}

Args::Args(std::span<const std::string> args, std::vector<std::string> valueFlags,
           std::vector<std::string> switches) {
  auto known = [](const std::vector<std::string>& list, const std::string& s) {
    for (const auto& k : list)
      if (k == s) return true;
    return false;
  };
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--help" || a == "-h") {
      help_ = true;
    } else if (a.size() > 2 && a.rfind("--", 0) == 0) {
      const size_t eq = a.find('=');
      const bool hasInline = eq != std::string::npos;
      const std::string name = hasInline ? std::string(a.begin(), a.begin() + ptrdiff_t(eq)) : a;
      const std::string inlineValue =
          hasInline ? std::string(a.begin() + ptrdiff_t(eq) + 1, a.end()) : std::string();
      if (known(switches, name)) {
        values_.insert_or_assign(name, std::string(1, '1'));
      } else if (known(valueFlags, name)) {
        if (hasInline) {
          values_[name] = inlineValue;
        } else if (i + 1 < args.size()) {
          values_[name] = args[++i];
        } else {
          error_ = "option " + name + " needs a value";
          return;
        }
      } else {
        error_ = "unknown option " + name;
        return;
      }
    } else {
      positional_.push_back(a);
    }
  }
}

std::optional<std::string> Args::value(const std::string& flag) const {
  const auto it = values_.find(flag);
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

std::optional<long long> parseInteger(const std::string& text, long long lo, long long hi) {
  long long v = 0;
  const char* begin = text.data() + (text.size() > 1 && text[0] == '+' ? 1 : 0);
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(begin, end, v);
  if (ec != std::errc{} || ptr != end || begin == end || v < lo || v > hi) return std::nullopt;
  return v;
}

int fail(const std::string& what, const std::string& message) {
  std::fprintf(stderr, "nadiro: %s: %s\n", what.c_str(), message.c_str());
  return kExitFailed;
}

int usage(const char* command, const std::string& message) {
  std::fprintf(stderr, "nadiro %s: %s (see 'nadiro %s --help')\n", command, message.c_str(),
               command);
  return kExitUsage;
}

namespace {

void printOverview() {
  std::printf(
      "nadiro - run the Nadiro image library on BMP files\n\n"
      "Usage: nadiro COMMAND [OPTIONS] ...\n"
      "       nadiro COMMAND --help     details, ranges and an example\n"
      "       nadiro --version          the library's version string\n");
  std::string family;
  for (const Command* c : commands()) {
    if (family != c->family) {
      family = c->family;
      std::printf("\n%s:\n", c->family);
    }
    std::printf("  %-18s %s\n", c->name, c->summary);
  }
}

}  // namespace
}  // namespace nadiro::cli

int main(int argc, char** argv) {
  using namespace nadiro::cli;
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty() || args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    printOverview();
    return args.empty() ? kExitUsage : kExitOk;
  }
  if (args[0] == "--version") {
    char version[32] = {};
    GetNadiroVersion(version, sizeof version);
    std::printf("%s\n", version);
    return kExitOk;
  }
  for (const Command* c : commands()) {
    if (args[0] == c->name) {
      const std::vector<std::string> rest(args.begin() + 1, args.end());
      for (const auto& a : rest) {
        if (a == "--help" || a == "-h") {
          std::printf("%s", c->help);
          return kExitOk;
        }
      }
      return c->run(rest);
    }
  }
  std::fprintf(stderr, "nadiro: unknown command '%s' (see 'nadiro --help')\n", args[0].c_str());
  return kExitUsage;
}
