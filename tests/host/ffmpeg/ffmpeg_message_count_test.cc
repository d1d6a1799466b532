#include "host/ffmpeg/ffmpeg_message_count.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/log.h>
}

namespace kxrtc_host {
namespace {

struct LevelCase {
  int level;
  uint64_t counted;
};

TEST(FFmpegMessageCountTest, CountsWarningsAndErrorsOfCodecsThatAskForIt) {
  constexpr int kOffset = kCountedLevelOffset;
  for (const LevelCase& test :
       {LevelCase{AV_LOG_PANIC, 0}, LevelCase{AV_LOG_ERROR, 0}, LevelCase{AV_LOG_WARNING, 0},
        LevelCase{AV_LOG_TRACE, 0}, LevelCase{kOffset + AV_LOG_PANIC, 1},
        LevelCase{kOffset + AV_LOG_ERROR, 1}, LevelCase{kOffset + AV_LOG_WARNING, 1},
        LevelCase{kOffset + AV_LOG_WARNING + 1, 0}, LevelCase{kOffset + AV_LOG_INFO, 0}}) {
    const uint64_t before = CountedFFmpegMessages();
    CountFFmpegMessage(test.level);
    EXPECT_EQ(CountedFFmpegMessages() - before, test.counted) << test.level;
  }
}

}  // namespace
}  // namespace kxrtc_host
