// Pointing the companion loader at a test module for the length of a scope.
#pragma once

#include "frame/companion.h"

#if defined(_WIN32)
#define TEST_MODULE(name) name ".dll"
#else
#define TEST_MODULE(name) "lib" name ".so"
#endif

namespace nadiro::test {

// Points the loader at another module for one test.
class CompanionName {
 public:
  explicit CompanionName(const char* fileName) { setCompanionFileName(fileName); }
  ~CompanionName() { setCompanionFileName(nullptr); }
  CompanionName(const CompanionName&) = delete;
  CompanionName& operator=(const CompanionName&) = delete;
};

}  // namespace nadiro::test
