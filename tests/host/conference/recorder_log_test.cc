#include "host/conference/recorder_log.h"

#include <gmock/gmock.h>

#include "kx_utility/failure_log.h"
#include "tests/testing/log_capture.h"

namespace kxrtc_host {
namespace {

using kx_utility::Failed;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::LS_INFO;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> Take(RecorderLog* log) {
  std::vector<std::string> texts;
  for (const RecorderSelection& selection : log->TakeSelections()) {
    texts.push_back(std::to_string(selection.ssrc) + " " + std::to_string(selection.user_id) + " " +
                    std::to_string(selection.media_type) + " " + selection.reason);
  }
  return texts;
}

void Select(uint32_t ssrc, uint32_t user_id, uint32_t type) {
  LogFormatted(LS_INFO, Here(), "new recording info: ssrc = %u, user_id = %u, type = %u", ssrc,
               user_id, type);
}

TEST(RecorderLogTest, JoinsTheReasonWithTheSelection) {
  RecorderLog log;
  LogFormatted(LS_INFO, Here(), "%s", "current recording user is invalid");
  Select(10, 1, 2);
  Select(11, 1, 3);
  LogFormatted(LS_INFO, Here(), "%s", "current recording video is turn off");
  Select(0, 1, 0);
  Select(12, 2, 2);
  EXPECT_THAT(Take(&log), ElementsAre("10 1 2 first picture while nobody was recorded",
                                      "11 1 3 shares the desktop",
                                      "0 1 0 the recorded video was turned off", "12 2 2 "));
  EXPECT_THAT(Take(&log), IsEmpty());
}

TEST(RecorderLogTest, CollectsErrors) {
  RecorderLog log;
  (void)Failed("failed in file->Write");
  EXPECT_THAT(log.TakeErrors(), ElementsAre("failed in file->Write"));
  EXPECT_THAT(log.TakeErrors(), IsEmpty());
}

TEST(RecorderLogTest, PassesEverythingOnToTheSinkBeforeIt) {
  const kx_testing::ScopedLogCapture capture;
  {
    RecorderLog log;
    (void)Failed("during");
  }
  (void)Failed("after");
  EXPECT_THAT(capture.lines(), ElementsAre("ERROR during", "ERROR after"));
}

}  // namespace
}  // namespace kxrtc_host
