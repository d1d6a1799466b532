#include "tools/kxrtc/tool_log.h"

#include <gmock/gmock.h>

#include "kx_utility/failure_log.h"
#include "tests/testing/log_capture.h"

namespace kxrtc_tool {
namespace {

using ::testing::ElementsAre;

TEST(ToolLogTest, KeepsTheFirstErrorOfACascade) {
  ToolLog log;
  EXPECT_EQ(log.first_error(), "");
  kx_utility::LogFormatted(kx_utility::LS_WARNING, kx_utility::Here(), "a warning");
  (void)kx_utility::Failed("the cause [with brackets]");
  (void)kx_utility::FailedIn("TheCaller");
  EXPECT_EQ(log.first_error(), "the cause [with brackets]");
}

TEST(ToolLogTest, PassesEverythingOn) {
  kx_testing::ScopedLogCapture capture;
  {
    ToolLog log;
    (void)kx_utility::Failed("one");
  }
  (void)kx_utility::Failed("two");
  EXPECT_THAT(capture.lines(), ElementsAre("ERROR one", "ERROR two"));
}

}  // namespace
}  // namespace kxrtc_tool
