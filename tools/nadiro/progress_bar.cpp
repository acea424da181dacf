#include "progress_bar.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "nadiro/nadiro.h"
#include "operation.h"

namespace nadiro::cli {

struct ProgressBarScope::State {
  BatchProgress* batch;
  std::unique_ptr<BatchProgress> own;  // for a scope without a run
  std::string label;
  int32_t steps = 1;  // the library's bar runs 0 .. steps
};

namespace {

const bool gIsTerminal = ::isatty(STDERR_FILENO) != 0;

int32_t onCreate(void* context, NadiroWindow, int32_t total, int32_t divisor) {
  auto& s = *static_cast<ProgressBarScope::State*>(context);
  s.steps = divisor > 0 ? total / divisor + 1 : 1;
  s.batch->update(&s, 0, s.label);
  return 1;
}

int32_t onStep(void* context, int32_t position) {
  auto& s = *static_cast<ProgressBarScope::State*>(context);
  s.batch->update(&s, s.steps > 0 ? double(position + 1) / s.steps : 1.0, s.label);
  return interrupted() ? 1 : 0;  // Ctrl-C presses Cancel
}

void onDestroy(void*) {}

}  // namespace

BatchProgress::BatchProgress(size_t files) : files_(files ? files : 1) {}

void BatchProgress::started() {
  std::lock_guard lock(mutex_);
  ++started_;
}

void BatchProgress::finished() {
  {
    std::lock_guard lock(mutex_);
    ++finished_;
  }
  draw();
}

void BatchProgress::update(const void* scope, double fraction, const std::string& label) {
  {
    std::lock_guard lock(mutex_);
    inWork_[scope] = fraction > 1 ? 1 : fraction;
    if (files_ == 1) label_ = label;
  }
  draw();
}

void BatchProgress::forget(const void* scope) {
  std::lock_guard lock(mutex_);
  inWork_.erase(scope);
}

std::string BatchProgress::line() const {
  std::lock_guard lock(mutex_);
  double done = double(finished_);
  for (const auto& [scope, fraction] : inWork_) done += fraction;
  const int percent = static_cast<int>(100 * done / double(files_));
  constexpr int kWidth = 30;
  const int filled = percent * kWidth / 100;
  const std::string what = files_ == 1 ? label_
                                       : "picture " + std::to_string(std::min(started_, files_)) +
                                             " of " + std::to_string(files_);
  char text[128];
  std::snprintf(text, sizeof text, "%-24.24s [%.*s%*s] %3d%%", what.c_str(), filled,
                "##############################", kWidth - filled, "", percent);
  return text;
}

void BatchProgress::draw() {
  if (!gIsTerminal) return;
  const std::string text = line();
  std::lock_guard lock(mutex_);
  if (shown_ && text == drawn_) return;
  drawn_ = text;
  std::fprintf(stderr, "\r%s", text.c_str());
  std::fflush(stderr);
  shown_ = true;
}

void BatchProgress::clearLine() {
  std::lock_guard lock(mutex_);
  if (!shown_) return;
  std::fprintf(stderr, "\r%*s\r", 70, "");
  std::fflush(stderr);
  shown_ = false;
}

ProgressBarScope::ProgressBarScope(BatchProgress& batch, std::string label)
    : state_(new State{&batch, nullptr, std::move(label)}) {
  const NadiroProgressHook hook{state_, onCreate, onStep, onDestroy};
  NadiroSetProgressHook(&hook);
}

ProgressBarScope::ProgressBarScope(std::string label)
    : state_(new State{nullptr, std::make_unique<BatchProgress>(1), std::move(label)}) {
  state_->batch = state_->own.get();
  const NadiroProgressHook hook{state_, onCreate, onStep, onDestroy};
  NadiroSetProgressHook(&hook);
}

ProgressBarScope::~ProgressBarScope() {
  NadiroSetProgressHook(nullptr);
  state_->batch->forget(state_);
  delete state_;
}

}  // namespace nadiro::cli
