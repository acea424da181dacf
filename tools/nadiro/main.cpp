// nadiro: run the library's operations on picture files.
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"
#include "nadiro/nadiro.h"

namespace nadiro::cli {
namespace {

void printOverview() {
  std::printf(
      "nadiro - run the Nadiro image library on photographs and other pictures\n"
      "(BMP, PNG, JPEG, WebP, TIFF and GIF in; BMP, PNG, JPEG and WebP out)\n\n"
      "Usage: nadiro COMMAND [OPTIONS] ...\n"
      "       nadiro help COMMAND       details, ranges and an example (or COMMAND --help)\n"
      "       nadiro --version          the tool's version\n");
  int width = 0;
  for (const Command* c : commands()) width = std::max(width, int(std::strlen(c->name)));
  std::string family;
  for (const Command* c : commands()) {
    if (family != c->family) {
      family = c->family;
      std::printf("\n%s:\n", c->family);
    }
    std::printf("  %-*s  %s\n", width, c->name, c->summary);
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
  if (args.size() == 2 && args[0] == "help") args = {args[1], "--help"};
  if (args.empty() || args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    printOverview();
    return args.empty() ? kExitUsage : kExitOk;
  }
  if (args[0] == "--version" || args[0] == "-V") {
    std::printf("nadiro %s\n", NADIRO_TOOL_VERSION);
    return kExitOk;
  }
  for (const Command* c : commands()) {
    if (args[0] == c->name) {
      const std::vector<std::string> rest(args.begin() + 1, args.end());
      for (const auto& a : rest) {
        if (a == "--") break;
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
