// The library's progress reports as a bar on stderr, and Ctrl-C as the
// dialog's Cancel button.
#pragma once

#include <string>

namespace nadiro::cli {

// While alive, the calling thread's library calls that report progress draw
// a bar labelled `label` (only when stderr is a terminal), and once Ctrl-C
// was pressed their next step presses Cancel.
class ProgressBarScope {
 public:
  explicit ProgressBarScope(std::string label);
  ~ProgressBarScope();
  ProgressBarScope(const ProgressBarScope&) = delete;
  ProgressBarScope& operator=(const ProgressBarScope&) = delete;

  struct State;

 private:
  State* state_;
};

}  // namespace nadiro::cli
