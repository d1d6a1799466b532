// Where findings begin: each limit with what just keeps it, which has no finding, and with what is
// just past it.
#include <gmock/gmock.h>

#include <functional>

#include "record/check/clock_check.h"
#include "record/check/structure_check.h"
#include "record/check/video_check.h"
#include "record/predict/record_analysis.h"
#include "tests/testing/bundled_record.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::AdtsFrame;
using kx_testing::kAdts48000;
using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::KeyFrame640x360;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using kx_testing::WithAdts;

constexpr int64_t kAudioUs = 21333;

std::string Sound() { return AdtsFrame(kAdts48000, 2); }

// A session that shows a picture from the start.
RecordBuilder& Open(RecordBuilder& builder, uint32_t media_type = kCamera) {
  return builder.Start(0)
      .Channel(0, media_type)
      .Attributes(0, 640, 360)
      .Video(0, KeyFrame640x360());
}

// `count` frames of sound, the first `interval_us` behind `start_us`. Returns the last one's time.
int64_t AddSound(RecordBuilder& builder, int count, int64_t start_us = 0,
                 int64_t interval_us = kAudioUs) {
  for (int i = 0; i < count; ++i) builder.Audio(start_us += interval_us, Sound());
  return start_us;
}

struct LimitCase {
  const char* name;
  std::function<void(RecordBuilder&)> build;
  std::string findings;  // Their codes, in order, each with its count where it is not 1.
};

class FindingLimitTest : public testing::TestWithParam<LimitCase> {};

std::string Findings(const FindingList& findings) {
  std::string text;
  for (size_t i = 0; i < kFindingCodeCount; ++i) {
    const auto code = static_cast<FindingCode>(i);
    if (findings.count(code) == 0) continue;
    text += (text.empty() ? "" : ", ") + std::string(FindingCodeName(code));
    if (findings.count(code) > 1) text += " x" + std::to_string(findings.count(code));
  }
  return text;
}

TEST_P(FindingLimitTest, IsWhereItShouldBe) {
  const TempDir dir;
  RecordBuilder builder(dir);
  GetParam().build(builder);
  builder.Write();
  EXPECT_EQ(GetParam().findings, Findings(AnalyseRecord(dir.path()).findings));
  constexpr size_t kLongIndex = 1 << 20;  // Takes seconds.
  if (builder.index().size() < kLongIndex) kx_testing::ExpectBundleTellsTheSame(dir.path());
}

void AddAttributes(RecordBuilder& builder, uint32_t width, uint32_t height, int32_t rotation) {
  Open(builder).Attributes(1000, width, height, rotation);
  AddSound(builder, 3);
  builder.Stop(70000);
}

// A parameter set of `size` bytes; zeros behind its end keep it valid.
void AddLongParameterSet(RecordBuilder& builder, size_t size) {
  const std::string key = KeyFrame640x360();
  const std::string set = key.substr(4, 10);
  const std::string long_set = set + std::string(size - set.size(), '\xFF');
  builder.Start(0).Channel(0, kCamera).Attributes(0, 640, 360);
  builder.Video(0, key.substr(0, 4) + long_set + key.substr(14)).Stop(1);
}

void AddSessions(RecordBuilder& builder, size_t count) {
  for (size_t i = 0; i < count; ++i) builder.Start(0).Stop(0);
}

// One picture, then only sound for `frames` frames, then a key frame.
void AddShare(RecordBuilder& builder, int frames) {
  Open(builder, kDesktop);
  const int64_t end_us = AddSound(builder, frames);
  builder.Video(end_us, KeyFrame640x360()).Stop(end_us);
}

// A delta frame where a channel begins, and sound until a key frame ends the wait.
void AddWait(RecordBuilder& builder, int frames) {
  Open(builder);
  builder.Channel(1, kDesktop).Attributes(1, 640, 360);
  const int64_t end_us = AddSound(builder, frames);
  builder.Video(end_us, KeyFrame640x360()).Stop(end_us);
}

const LimitCase kCases[] = {
    {"TwentyMinutesOfRegularFrames",
     [](RecordBuilder& builder) {
       Open(builder);
       int64_t time_us = 0;
       for (int i = 0; i < 1200 * 47; ++i) {
         builder.Audio(time_us += kAudioUs, Sound());
         if (i % 2 == 0) builder.Delta(time_us);
         if (i % 500 == 0) builder.Video(time_us, KeyFrame640x360());
       }
       builder.Stop(time_us);
     },
     ""},
    {"EveryRecordAtTheSameTime",
     [](RecordBuilder& builder) {
       Open(builder);
       for (int i = 0; i < 5; ++i) builder.Audio(0, Sound()).Delta(0);
       builder.Stop(0);
     },
     ""},
    {"ClockAtTheForwardLimit",
     [](RecordBuilder& builder) {
       Open(builder).Audio(0, Sound()).Audio(kForwardStepUs, Sound()).Stop(2 * kForwardStepUs);
     },
     ""},
    {"ClockPastTheForwardLimit",
     [](RecordBuilder& builder) {
       Open(builder).Audio(0, Sound()).Audio(kForwardStepUs + 1, Sound());
       builder.Stop(2 * kForwardStepUs + 2);
     },
     "clock.forward-step x2"},
    {"ALongPauseBetweenSessions",
     [](RecordBuilder& builder) {
       Open(builder).Audio(0, Sound()).Stop(1).Start(100 * kForwardStepUs);
       builder.Channel(100 * kForwardStepUs, kCamera).Attributes(100 * kForwardStepUs, 640, 360);
       builder.Video(100 * kForwardStepUs, KeyFrame640x360()).Stop(100 * kForwardStepUs);
     },
     ""},
    {"ClockAtTheBackwardLimit",
     [](RecordBuilder& builder) {
       Open(builder);
       const int64_t end_us = AddSound(builder, 10);
       builder.Audio(end_us - kBackwardStepUs, Sound()).Stop(end_us);
     },
     "clock.out-of-order"},
    {"ClockPastTheBackwardLimit",
     [](RecordBuilder& builder) {
       Open(builder);
       const int64_t end_us = AddSound(builder, 10);
       builder.Audio(end_us - kBackwardStepUs - 1, Sound()).Stop(end_us);
     },
     "clock.backward-step"},
    {"CadenceAtItsTolerance",  // 21333 * 1.02 = 21759.7.
     [](RecordBuilder& builder) {
       Open(builder);
       builder.Stop(AddSound(builder, 100, 0, 21759));
     },
     ""},
    {"CadencePastItsTolerance",
     [](RecordBuilder& builder) {
       Open(builder);
       builder.Stop(AddSound(builder, 100, 0, 21760));
     },
     "audio.cadence"},
    {"CadenceOfTooFewFrames",
     [](RecordBuilder& builder) {
       Open(builder);
       builder.Stop(AddSound(builder, 99, 0, 21760));
     },
     ""},
    {"CadenceTooFast",  // 21333 * 0.98 = 20906.3.
     [](RecordBuilder& builder) {
       Open(builder);
       builder.Stop(AddSound(builder, 100, 0, 20906));
     },
     "audio.cadence"},
    {"CadenceFastEnough",
     [](RecordBuilder& builder) {
       Open(builder);
       builder.Stop(AddSound(builder, 100, 0, 20907));
     },
     ""},
    {"LargestAttributes",
     [](RecordBuilder& builder) { AddAttributes(builder, kMaxPictureSide, kMaxPictureSide, 270); },
     ""},
    {"TooWide", [](RecordBuilder& builder) { AddAttributes(builder, kMaxPictureSide + 1, 2, 0); },
     "video.attributes"},
    {"TooHigh", [](RecordBuilder& builder) { AddAttributes(builder, 2, kMaxPictureSide + 1, 0); },
     "video.attributes"},
    {"NoWidth", [](RecordBuilder& builder) { AddAttributes(builder, 0, 2, 0); },
     "video.attributes"},
    {"NoHeight", [](RecordBuilder& builder) { AddAttributes(builder, 2, 0, 0); },
     "video.attributes"},
    {"SmallestAttributes", [](RecordBuilder& builder) { AddAttributes(builder, 1, 1, -90); }, ""},
    {"AskewAttributes", [](RecordBuilder& builder) { AddAttributes(builder, 2, 2, 45); },
     "video.attributes"},
    {"LongestParameterSet", [](RecordBuilder& builder) { AddLongParameterSet(builder, 65535); },
     ""},
    {"TooLongAParameterSet", [](RecordBuilder& builder) { AddLongParameterSet(builder, 65536); },
     "replay.nothing, video.bad-sps, video.no-parameter-sets"},
    {"AParameterSetOfItsHeaderOnly",
     [](RecordBuilder& builder) {
       Open(builder).Video(1, KeyFrame640x360() + std::string("\0\0\0\1\x67", 5)).Stop(2);
     },
     "video.bad-sps"},
    {"AFrameThatIsReadWhole",
     [](RecordBuilder& builder) {
       const std::string key = KeyFrame640x360();
       builder.Start(0).Channel(0, kCamera).Attributes(0, 640, 360);
       builder.Video(0, key + std::string(kMaxFrameBytesRead - key.size(), 'x')).Stop(1);
     },
     ""},
    {"AFrameThatIsReadInPart",
     [](RecordBuilder& builder) {
       const std::string key = KeyFrame640x360();
       builder.Start(0).Channel(0, kCamera).Attributes(0, 640, 360);
       builder.Video(0, key + std::string(kMaxFrameBytesRead + 1 - key.size(), 'x')).Stop(1);
     },
     "video.frame-too-large"},
    {"SoundOfAHeaderOnly",
     [](RecordBuilder& builder) {
       Open(builder);
       AddSound(builder, 3);
       builder.Audio(4 * kAudioUs, WithAdts("")).Stop(5 * kAudioUs);
     },
     ""},
    {"SoundOfLessThanAHeader",
     [](RecordBuilder& builder) {
       Open(builder);
       AddSound(builder, 3);
       builder.Audio(4 * kAudioUs, Sound().substr(0, 6));
       builder.Audio(5 * kAudioUs, Sound()).Stop(6 * kAudioUs);
     },
     "audio.left-out"},
    {"AllSessionsListed", [](RecordBuilder& builder) { AddSessions(builder, kMaxSessions); },
     "replay.nothing"},
    // The picture stands at 10 ms; 235 frames are 5.013 s. An icon that a picture replaces within
    // 0.4 s, which are 18 frames, is not shown.
    {"AShareThatPausesForTheLimit", [](RecordBuilder& builder) { AddShare(builder, 253); }, ""},
    {"AShareThatPausesForLonger", [](RecordBuilder& builder) { AddShare(builder, 254); },
     "replay.still-share"},
    // 23 frames are 0.491 s, 24 are 0.512 s.
    {"AWaitForAKeyFrameUpToTheLimit", [](RecordBuilder& builder) { AddWait(builder, 42); }, ""},
    {"AWaitForAKeyFrameBeyondTheLimit", [](RecordBuilder& builder) { AddWait(builder, 43); },
     "replay.filler-waiting"},
    {"FramesSideBySide",
     [](RecordBuilder& builder) {
       Open(builder).Delta(1).Delta(2);
       AddSound(builder, 3);
       builder.Stop(70000);
     },
     ""},
    {"AHoleOfOneByte",
     [](RecordBuilder& builder) {
       Open(builder).RawAudio("x");
       AddSound(builder, 3);
       builder.Stop(70000);
     },
     "data.hole"},
    {"AByteBehindTheLastFrame",
     [](RecordBuilder& builder) {
       Open(builder);
       AddSound(builder, 3);
       builder.RawAudio("x").Stop(70000);
     },
     "data.stale-tail"},
    {"AFrameThatEndsAtTheEndOfItsFile",
     [](RecordBuilder& builder) {
       const auto sound_bytes = static_cast<uint32_t>(Sound().size());
       Open(builder).Audio(kAudioUs, Sound());
       builder.DataRecord(kx_testing::kAudioRecord, 2 * kAudioUs, 0, sound_bytes).Stop(70000);
     },
     "data.overlap, descriptor.session-mismatch"},
    {"AFrameThatEndsOneByteBehindIt",
     [](RecordBuilder& builder) {
       const auto sound_bytes = static_cast<uint32_t>(Sound().size());
       Open(builder).Audio(kAudioUs, Sound());
       builder.DataRecord(kx_testing::kAudioRecord, 2 * kAudioUs, 1, sound_bytes).Stop(70000);
     },
     "data.past-end, descriptor.session-mismatch, replay.failed"},
};

INSTANTIATE_TEST_SUITE_P(Limits, FindingLimitTest, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

// Counts of a long record, which no finding shows.
TEST(FindingLimitsTest, SumsUpBothSessionsOfARecord) {
  const TempDir dir;
  RecordBuilder builder(dir);
  for (const int64_t start_us : {0, 1000000}) {
    builder.Start(start_us).Channel(start_us, kCamera).Attributes(start_us, 640, 360);
    builder.Video(start_us, KeyFrame640x360()).Delta(start_us + 1);
    builder.Stop(AddSound(builder, 4, start_us) + 1);
  }
  builder.Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  const SessionSummary& totals = summary.totals;
  EXPECT_EQ(totals.video_frames, 4u);
  EXPECT_EQ(totals.key_frames, 2u);
  EXPECT_EQ(totals.audio_frames, 8u);
  EXPECT_EQ(totals.audio_bytes, 8 * Sound().size());
  EXPECT_EQ(totals.video_bytes, 2 * (KeyFrame640x360().size() + kx_testing::DeltaFrame().size()));
  EXPECT_EQ(totals.switches, 2u);
  EXPECT_EQ(summary.channels.at(kCamera).video_frames, totals.video_frames);
  EXPECT_EQ(summary.channels.at(kCamera).video_bytes, totals.video_bytes);
}

TEST(FindingLimitsTest, ListsEachKindOfChannelUpToTheLimit) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0);  // Begins without video: 0 is the first kind.
  for (uint32_t type = 1; type <= 254; ++type) builder.Channel(type, type);
  builder.Channel(256, 1000).Channel(257, 1001).Channel(258, 1000).Stop(300).Write();
  const auto channels = AnalyseRecord(dir.path()).channels;
  ASSERT_EQ(channels.size(), 257u);
  EXPECT_EQ(channels.at(1000).switches, 2u);
  EXPECT_EQ(channels.at(0xFFFFFFFF).switches, 1u);
}

}  // namespace
}  // namespace kxrtc_host
