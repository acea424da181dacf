// nadiro: run the library's operations on picture files.
#include <clocale>
#include <cstdio>
#include <string>
#include <vector>

#include "cli.h"
#include "nadiro/nadiro.h"

namespace nadiro::cli {
namespace {

void printOverview() {
  std::printf(
      "nadiro - run the Nadiro image library on BMP, PNG and JPEG pictures\n\n"
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
  // File names given to the library in wide characters reach the file
  // system in the user's encoding.
  std::setlocale(LC_CTYPE, "");
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
