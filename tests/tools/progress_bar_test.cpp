// Ctrl-C reaches the library as the progress dialog's Cancel button.
#include "progress_bar.h"

#include <gtest/gtest.h>

#include "frame/progress.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

TEST(ProgressBar, CtrlCPressesCancelAtTheNextStep) {
  clearInterrupt();
  {
    const ProgressBarScope bar("picture");
    ASSERT_EQ(progressCreate(nullptr, 101, 5), 1);
    progressStep();
    EXPECT_FALSE(cancelRequested());
    requestInterrupt();
    progressStep();
    EXPECT_TRUE(cancelRequested());
    progressDestroy();
  }
  clearInterrupt();
  // Without the bar a step never cancels.
  ASSERT_EQ(progressCreate(nullptr, 10, 5), 1);
  requestInterrupt();
  progressStep();
  EXPECT_FALSE(cancelRequested());
  progressDestroy();
  clearInterrupt();
}

}  // namespace
}  // namespace nadiro::cli
