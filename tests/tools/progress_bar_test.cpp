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
    ASSERT_EQ(ProgressCreate(nullptr, 101, 5), 1);
    ProgressStep();
    EXPECT_FALSE(cancelRequested());
    requestInterrupt();
    ProgressStep();
    EXPECT_TRUE(cancelRequested());
    ProgressDestroy();
  }
  clearInterrupt();
  // Without the bar a step never cancels.
  ASSERT_EQ(ProgressCreate(nullptr, 10, 5), 1);
  requestInterrupt();
  ProgressStep();
  EXPECT_FALSE(cancelRequested());
  ProgressDestroy();
  clearInterrupt();
}

}  // namespace
}  // namespace nadiro::cli
