#include "progress_bar.h"

#include <unistd.h>

#include <cstdio>
#include <mutex>

#include "nadiro/nadiro.h"
#include "operation.h"

namespace nadiro::cli {

struct ProgressBarScope::State {
  std::string label;
  int32_t steps = 1;   // the bar runs 0 .. steps
  int drawnPercent = -1;
};

namespace {

std::mutex gTerminal;
const bool gIsTerminal = ::isatty(STDERR_FILENO) != 0;

void draw(ProgressBarScope::State& s, int32_t position) {
  if (!gIsTerminal) return;
  const int percent = s.steps > 0 ? static_cast<int>(100LL * position / s.steps) : 100;
  if (percent == s.drawnPercent) return;
  s.drawnPercent = percent;
  constexpr int kWidth = 30;
  const int filled = percent * kWidth / 100;
  std::lock_guard lock(gTerminal);
  std::fprintf(stderr, "\r%-24.24s [%.*s%*s] %3d%%", s.label.c_str(), filled,
               "##############################", kWidth - filled, "", percent);
  std::fflush(stderr);
}

int32_t onCreate(void* context, NadiroWindow, int32_t total, int32_t divisor) {
  auto& s = *static_cast<ProgressBarScope::State*>(context);
  s.steps = divisor > 0 ? total / divisor + 1 : 1;
  s.drawnPercent = -1;
  draw(s, 0);
  return 1;
}

int32_t onStep(void* context, int32_t position) {
  auto& s = *static_cast<ProgressBarScope::State*>(context);
  draw(s, position + 1);
  return interrupted() ? 1 : 0;  // Ctrl-C presses Cancel
}

void onDestroy(void* context) {
  auto& s = *static_cast<ProgressBarScope::State*>(context);
  if (!gIsTerminal || s.drawnPercent < 0) return;
  std::lock_guard lock(gTerminal);
  std::fprintf(stderr, "\r%*s\r", 64, "");
  std::fflush(stderr);
}

}  // namespace

ProgressBarScope::ProgressBarScope(std::string label) : state_(new State{std::move(label)}) {
  const NadiroProgressHook hook{state_, onCreate, onStep, onDestroy};
  NadiroSetProgressHook(&hook);
}

ProgressBarScope::~ProgressBarScope() {
  NadiroSetProgressHook(nullptr);
  delete state_;
}

}  // namespace nadiro::cli
