// A test companion loaded for the length of a scope. The test program's
// folder holds no companion, so the library's search ends with the normal
// one, and that returns the module of the companion's name that the process
// already holds: this one.
#pragma once

#include <cstdint>

#include "nadiro/nadiro.h"

namespace nadiro::test {

enum class Companion { Cancel, Change, Partial };

class TestCompanion {
 public:
  explicit TestCompanion(Companion kind);
  ~TestCompanion();
  TestCompanion(const TestCompanion&) = delete;
  TestCompanion& operator=(const TestCompanion&) = delete;

  explicit operator bool() const { return module_ != nullptr; }
  // What the last dialog was given: the image, the file name's length (-1: none).
  NadiroHandle lastImage() const;
  int32_t lastNameLength() const;

 private:
  void* find(const char* name) const;
  void* module_ = nullptr;
};

}  // namespace nadiro::test
