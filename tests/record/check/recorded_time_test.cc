#include "record/check/recorded_time.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <vector>

namespace kxrtc_host {
namespace {

constexpr uint32_t kStart = kxrtc::kStartRecording;
constexpr uint32_t kStop = kxrtc::kStopRecording;
constexpr uint32_t kSound = kxrtc::kAudioData;
constexpr uint32_t kPicture = kxrtc::kVideoData;
constexpr int64_t kLatest = std::numeric_limits<int64_t>::max();

struct TimeCase {
  const char* name;
  std::vector<kxrtc::SpeakerRecordHeader> records;
  int64_t recorded_us;
};

void PrintTo(const TimeCase& time_case, std::ostream* out) { *out << time_case.name; }

class RecordedTimeTest : public testing::TestWithParam<TimeCase> {};

TEST_P(RecordedTimeTest, IsTheTimeWithSoundOrPictures) {
  RecordedTime time;
  for (const kxrtc::SpeakerRecordHeader& record : GetParam().records) time.Take(record);
  EXPECT_EQ(time.total_us(), GetParam().recorded_us);
}

// The first frame behind a pause counts as one frame of sound, 21333 microseconds.
INSTANTIATE_TEST_SUITE_P(
    Records, RecordedTimeTest,
    testing::Values(
        TimeCase{"Nothing", {}, 0},
        TimeCase{"NoFrame", {{kStart, 0}, {kxrtc::kNewChannel, 5}, {kStop, 900000}}, 0},
        TimeCase{"OneFrame", {{kStart, 0}, {kSound, 5}, {kStop, 900000}}, 21333},
        TimeCase{"SoundAndPictures", {{kStart, 0}, {kPicture, 9}, {kSound, 1000009}}, 1021333},
        TimeCase{"APauseDoesNotCount", {{kStart, 0}, {kPicture, 9}, {kSound, 1000010}}, 42666},
        TimeCase{"SwappedFrames", {{kSound, 200000}, {kPicture, 100000}, {kSound, 210000}}, 31333},
        TimeCase{"AClockSetBack", {{kSound, 200000}, {kPicture, 99999}, {kSound, 110000}}, 52667},
        TimeCase{"TwoSessions",
                 {{kStart, 0}, {kSound, 1}, {kStop, 2}, {kStart, 3}, {kSound, 4}, {kStop, 5}},
                 42666},
        TimeCase{"AnyTime", {{kSound, kLatest}, {kSound, -kLatest}, {kSound, kLatest}}, 63999}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kxrtc_host
