// The companion module's file name, which tests can point elsewhere.
#include "frame/companion.h"

namespace nadiro {
namespace {

#if defined(_WIN32)
constexpr const char* kCompanionFile = "NadiroDlgs.dll";
#else
constexpr const char* kCompanionFile = "libNadiroDlgs.so";
#endif

const char* gFileName = kCompanionFile;

}  // namespace

void setCompanionFileName(const char* fileName) {
  gFileName = fileName ? fileName : kCompanionFile;
}
const char* companionFileName() {
  return gFileName;
}

}  // namespace nadiro
