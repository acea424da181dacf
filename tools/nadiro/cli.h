// The nadiro command-line tool: its command table, argument parsing and
// the shared ways of reporting errors.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace nadiro::cli {

struct Command {
  const char* name;
  const char* family;   // groups commands in `nadiro --help`
  const char* summary;  // one line
  const char* help;     // full text of `nadiro NAME --help`
  int (*run)(std::span<const std::string> args);
};

// Every command of the tool, in the order `nadiro --help` lists them.
std::span<const Command* const> commands();

// Exit codes.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;  // an input was refused or an operation failed
inline constexpr int kExitUsage = 2;   // the command line was wrong

// `--flag value` options and positional arguments. Flags not declared are
// an error; so is a missing value.
class Args {
 public:
  Args(std::span<const std::string> args, std::vector<std::string> valueFlags,
       std::vector<std::string> switches = {});
  bool ok() const { return error_.empty(); }
  const std::string& error() const { return error_; }
  bool has(const std::string& flag) const { return values_.count(flag) != 0; }
  std::optional<std::string> value(const std::string& flag) const;
  const std::vector<std::string>& positional() const { return positional_; }
  bool wantsHelp() const { return help_; }

 private:
  std::map<std::string, std::string> values_;
  std::vector<std::string> positional_;
  std::string error_;
  bool help_ = false;
};

// Parses a whole decimal integer in [lo, hi]; nothing on any other text.
std::optional<long long> parseInteger(const std::string& text, long long lo, long long hi);

// Prints "nadiro: <what>: <message>" on stderr; returns kExitFailed.
int fail(const std::string& what, const std::string& message);
// Prints "nadiro CMD: <message>" and a pointer to --help; returns kExitUsage.
int usage(const char* command, const std::string& message);

}  // namespace nadiro::cli
