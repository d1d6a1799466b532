#include "kx_utility/failure_log.h"

#include <gmock/gmock.h>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;

constexpr int kOpenDoorLine = __LINE__ + 1;
bool OpenDoor() { return FailedIn("lock_.Turn"); }

TEST(FailureLogTest, NamesTheStepAndTheCallersPlace) {
  ScopedLogCapture log;
  EXPECT_FALSE(OpenDoor());
  EXPECT_THAT(log.raw(), ElementsAre("[kx_utility][ERROR][OpenDoor][" +
                                     std::to_string(kOpenDoorLine) + "]failed in lock_.Turn\n"));
}

TEST(FailureLogTest, LogsATextAsItStands) {
  ScopedLogCapture log;
  EXPECT_FALSE(Failed("100%s of nothing"));
  EXPECT_THAT(log.lines(), ElementsAre("ERROR 100%s of nothing"));
}

TEST(FailureLogTest, CutsATextOf1024CharactersAndSaysSo) {
  ScopedLogCapture log;
  LogFormatted(LS_INFO, Here(), "%s", std::string(1024, 'x').c_str());
  EXPECT_THAT(log.lines(), ElementsAre("WARNING buffer is not enough, buffer_size:1024",
                                       "INFO " + std::string(1022, 'x')));
}

}  // namespace
}  // namespace kx_utility
