// The library's progress reports as one bar on stderr for a whole run, and
// Ctrl-C as the dialog's Cancel button.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace nadiro::cli {

// The progress of a run over `files` pictures, drawn as one line
// ("picture n of N" and a bar; the picture's name when there is one) on
// stderr when stderr is a terminal.
class BatchProgress {
 public:
  explicit BatchProgress(size_t files);
  ~BatchProgress() { clearLine(); }
  BatchProgress(const BatchProgress&) = delete;
  BatchProgress& operator=(const BatchProgress&) = delete;
  void started();
  void finished();
  // Removes the bar so a message can be printed; the next update redraws it.
  void clearLine();
  // How far one picture in work is (0..1), keyed by its scope.
  void update(const void* scope, double fraction, const std::string& label);
  void forget(const void* scope);
  // The line as drawn (for tests).
  std::string line() const;

 private:
  void draw();
  size_t files_, started_ = 0, finished_ = 0;
  std::map<const void*, double> inWork_;
  std::string label_;
  std::string drawn_;
  bool shown_ = false;
  mutable std::mutex mutex_;
};

// While alive, the calling thread's library calls that report progress move
// the run's bar, and once Ctrl-C was pressed their next step presses Cancel.
class ProgressBarScope {
 public:
  ProgressBarScope(BatchProgress& batch, std::string label);
  explicit ProgressBarScope(std::string label);  // a run of one picture
  ~ProgressBarScope();
  ProgressBarScope(const ProgressBarScope&) = delete;
  ProgressBarScope& operator=(const ProgressBarScope&) = delete;

  struct State;

 private:
  State* state_;
};

}  // namespace nadiro::cli
