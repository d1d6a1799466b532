#include "host/conference/recording_watch.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

namespace kxrtc_host {
namespace {

using ::kxrtc::RecordFile;
using ::kxrtc::SelectionReason;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(RecordingWatchTest, CountsTheRecordsAndTheirBytes) {
  RecordingWatch watch;
  EXPECT_EQ(watch.counts().sessions, 0u);
  EXPECT_EQ(watch.counts().index_bytes, 0u);
  watch.OnRecordingStarted(1);
  watch.OnChannelSelected({2, 11, 1, 2, SelectionReason::kNobodyRecorded});
  watch.OnAttributesWritten({3, 0, 640, 360});
  watch.OnFrameWritten({3, 0, 100, RecordFile::kVideo});
  watch.OnFrameWritten({4, 100, 50, RecordFile::kVideo});
  watch.OnFrameWritten({5, 0, 7, RecordFile::kAudio});
  watch.OnRecordingStopped(6);
  const RecordCounts counts = watch.counts();
  EXPECT_EQ(counts.sessions, 1u);
  EXPECT_EQ(counts.switches, 1u);
  EXPECT_EQ(counts.video_frames, 2u);
  EXPECT_EQ(counts.video_bytes, 150u);
  EXPECT_EQ(counts.audio_frames, 1u);
  EXPECT_EQ(counts.audio_bytes, 7u);
  EXPECT_EQ(counts.index_bytes, 12u + 16 + 24 + 3 * 24 + 12);
}

struct ReasonCase {
  const char* name;
  SelectionReason reason;
  const char* text;
};

class RecordingWatchReasonTest : public ::testing::TestWithParam<ReasonCase> {};

TEST_P(RecordingWatchReasonTest, KeepsTheSelectionUntilItIsTaken) {
  RecordingWatch watch;
  watch.OnChannelSelected({2, 11, 1, 2, GetParam().reason});
  const std::vector<RecorderSelection> taken = watch.TakeSelections();
  ASSERT_EQ(taken.size(), 1u);
  EXPECT_EQ(taken[0].ssrc, 11u);
  EXPECT_EQ(taken[0].user_id, 1u);
  EXPECT_EQ(taken[0].media_type, 2u);
  EXPECT_EQ(taken[0].reason, GetParam().text);
  EXPECT_TRUE(watch.TakeSelections().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, RecordingWatchReasonTest,
    ::testing::Values(
        ReasonCase{"VideoTurnedOff", SelectionReason::kVideoTurnedOff,
                   "the recorded video was turned off"},
        ReasonCase{"SpeakerWithoutVideo", SelectionReason::kSpeakerWithoutVideo,
                   "speaks and has no video"},
        ReasonCase{"MicrophoneTurnedOff", SelectionReason::kMicrophoneTurnedOff,
                   "the microphone was closed"},
        ReasonCase{"DesktopShared", SelectionReason::kDesktopShared, "shares the desktop"},
        ReasonCase{"VideoTurnedOn", SelectionReason::kVideoTurnedOn, "turned the video on"},
        ReasonCase{"NobodyRecorded", SelectionReason::kNobodyRecorded,
                   "first picture while nobody was recorded"},
        ReasonCase{"AnotherSpeaker", SelectionReason::kAnotherSpeaker, "speaks"}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(RecordingWatchTest, KeepsOneLineForEachFailedWrite) {
  RecordingWatch watch;
  watch.OnWriteFailed({12, RecordFile::kIndex, true});
  watch.OnWriteFailed({500, RecordFile::kVideo, false});
  watch.OnWriteFailed({7, RecordFile::kAudio, false});
  EXPECT_THAT(watch.TakeFailures(), ElementsAre("12 bytes could not be written to the index file",
                                                "500 bytes could not be written to the video file",
                                                "7 bytes could not be written to the audio file"));
  EXPECT_THAT(watch.TakeFailures(), IsEmpty());
}

TEST(RecordingWatchTest, DropsFailuresThatNobodyTakes) {
  RecordingWatch watch;
  for (size_t i = 0; i <= RecordingWatch::kMaxFailures; ++i) {
    watch.OnWriteFailed({12, RecordFile::kIndex, false});
  }
  EXPECT_EQ(watch.TakeFailures().size(), RecordingWatch::kMaxFailures);
}

TEST(RecordingWatchTest, WaitsForASession) {
  RecordingWatch watch;
  EXPECT_FALSE(watch.WaitForSession(1000));
  std::thread recorder([&] { watch.OnRecordingStarted(1); });
  EXPECT_TRUE(watch.WaitForSession(20000000));
  recorder.join();
}

TEST(RecordingWatchTest, DoesNotWaitForASessionThatCannotBeWritten) {
  RecordingWatch watch;
  watch.OnWriteFailed({12, RecordFile::kIndex, true});
  EXPECT_FALSE(watch.WaitForSession(20000000));
}

}  // namespace
}  // namespace kxrtc_host
