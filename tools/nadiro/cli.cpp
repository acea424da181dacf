// The command table and argument handling shared by every command.
#include "cli.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "nadiro/nadiro.h"

namespace nadiro::cli {

extern const Command kColorCommand;
extern const Command kConvertCommand;
extern const Command kOrderedDitherCommand;
extern const Command kDitherCommand;
extern const Command kSplitCommand;
extern const Command kMergeCommand;
extern const Command kConvolveCommand;
extern const Command kBrightnessContrastCommand;
extern const Command kHueSaturationCommand;
extern const Command kCmykLevelsCommand;
extern const Command kDesaturateCommand;
extern const Command kGammaCommand;
extern const Command kReplaceColorCommand;
extern const Command kDemoCommand;

std::span<const Command* const> commands() {
  static const Command* const kAll[] = {
      &kColorCommand,         &kConvertCommand,
      &kOrderedDitherCommand, &kDitherCommand,
      &kSplitCommand,         &kMergeCommand,
      &kConvolveCommand,      &kBrightnessContrastCommand,
      &kHueSaturationCommand, &kCmykLevelsCommand,
      &kDesaturateCommand,    &kGammaCommand,
      &kReplaceColorCommand,  &kDemoCommand,
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
  // Short forms of the common options; -m is the command's --method or --model.
  auto longName = [&](const std::string& name) -> std::string {
    static const std::pair<const char*, const char*> kShort[] = {
        {"-o", "--out-dir"}, {"-j", "--jobs"},   {"-b", "--background"},
        {"-f", "--format"},  {"-m", "--method"}, {"-m", "--model"}};
    for (const auto& [brief, full] : kShort)
      if (name == brief && known(valueFlags, full)) return full;
    return name;
  };
  bool optionsEnded = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (optionsEnded) {
      positional_.push_back(a);
    } else if (a == "--") {
      optionsEnded = true;
    } else if (a == "--help" || a == "-h") {
      help_ = true;
    } else if ((a.size() > 2 && a.rfind("--", 0) == 0) ||
               (a.size() > 1 && a[0] == '-' && std::isalpha(static_cast<unsigned char>(a[1])))) {
      const size_t eq = a.find('=');
      const bool hasInline = eq != std::string::npos;
      const std::string name =
          longName(hasInline ? std::string(a.begin(), a.begin() + ptrdiff_t(eq)) : a);
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

}  // namespace nadiro::cli
