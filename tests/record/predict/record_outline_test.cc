#include "record/predict/record_outline.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <functional>

#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;

// What `read` tells of the files of a record.
template <typename Read>
auto OfRecord(const std::function<void(RecordBuilder&)>& build, const Read& read) {
  TempDir dir;
  RecordBuilder builder(dir);
  build(builder);
  builder.Write();
  RecordFiles files;
  files.Open(dir.path());
  return read(&files);
}

RecordOutline Outline(const std::function<void(RecordBuilder&)>& build) {
  return OfRecord(build, [](RecordFiles* files) { return ReadRecordOutline(files); });
}

TEST(RecordOutlineTest, CountsWhatAWholeRecordHolds) {
  const RecordOutline outline = Outline([](RecordBuilder& record) {
    record.Start(1000).Channel(1001, 0).Audio(2000).Audio(3000).Stop(4000);
    record.Start(9000).Channel(9001, kCamera).Attributes(9002, 640, 360).Key(9003).Delta(9004);
    record.Audio(9500).Stop(10000);
  });
  EXPECT_EQ(outline.end, RecordEnd::kComplete);
  EXPECT_EQ(outline.sessions, 2u);
  EXPECT_EQ(outline.audio_frames, 3u);
  EXPECT_EQ(outline.video_frames, 2u);
  EXPECT_EQ(outline.switches_to_audio_only, 1u);
  EXPECT_EQ(outline.media_bytes, 3 * 5u + 8 + 10);
  EXPECT_EQ(outline.recorded_us, 4000);
  EXPECT_EQ(MediaDurationUs(outline), 64000);
}

TEST(RecordOutlineTest, TheRecordedTimeIsAtMostThirtyYears) {
  constexpr int64_t kMost = 1000000000000000;
  for (const int64_t recorded_us : {kMost - 1, kMost, kMost + 1, INT64_MAX - 1}) {
    SCOPED_TRACE(recorded_us);
    const auto record = [recorded_us](int sessions) {
      return Outline([&](RecordBuilder& builder) {
        for (int i = 0; i < sessions; ++i) builder.Start(1).Audio(2).Stop(1 + recorded_us);
      });
    };
    EXPECT_EQ(record(1).recorded_us, std::min(recorded_us, kMost));
    EXPECT_EQ(record(2).recorded_us, kMost);
  }
}

struct EndCase {
  const char* name;
  std::function<void(RecordBuilder&)> build;
  RecordEnd end;
};

class RecordEndTest : public ::testing::TestWithParam<EndCase> {};

TEST_P(RecordEndTest, IsRecognised) { EXPECT_EQ(Outline(GetParam().build).end, GetParam().end); }

INSTANTIATE_TEST_SUITE_P(
    Cases, RecordEndTest,
    ::testing::Values(
        EndCase{"Empty", [](RecordBuilder&) {}, RecordEnd::kCutShort},
        EndCase{"NoMedia", [](RecordBuilder& r) { r.Start(1).Stop(2); }, RecordEnd::kComplete},
        EndCase{"NoStop", [](RecordBuilder& r) { r.Start(1).Audio(2); }, RecordEnd::kCutShort},
        EndCase{"InsideAHeader", [](RecordBuilder& r) { r.Start(1).Audio(2).RawIndex("\xEE\xDD"); },
                RecordEnd::kCutShort},
        EndCase{"InsideAPayload",
                [](RecordBuilder& r) {
                  r.Start(1).RawIndex(kx_testing::BigEndian32(0xEEDDCC07) +
                                      kx_testing::BigEndian64(2) + "abc");
                },
                RecordEnd::kCutShort},
        EndCase{
            "FrameBeyondItsFile",
            [](RecordBuilder& r) { r.Start(1).Audio(2).DataRecord(0xEEDDCC07, 3, 4, 2).Stop(4); },
            RecordEnd::kFrameMissing},
        EndCase{
            "FrameFarBeyondItsFile",
            [](RecordBuilder& r) { r.Start(1).DataRecord(0xEEDDCC07, 3, UINT64_MAX, 2).Stop(4); },
            RecordEnd::kFrameMissing},
        EndCase{"FrameTooLarge",
                [](RecordBuilder& r) {
                  r.Start(1).RawAudio(std::string(kMaxFrameBytes + 1, 'x'));
                  r.DataRecord(0xEEDDCC07, 3, 0, kMaxFrameBytes + 1).Stop(4);
                },
                RecordEnd::kFrameTooLarge},
        EndCase{"UnknownType",
                [](RecordBuilder& r) {
                  r.Start(1).RawIndex(kx_testing::BigEndian32(0xEEDDCC05) +
                                      kx_testing::BigEndian64(2));
                },
                RecordEnd::kDamaged},
        EndCase{"OutsideASession", [](RecordBuilder& r) { r.Audio(1); }, RecordEnd::kDamaged},
        EndCase{"StartWithinASession", [](RecordBuilder& r) { r.Start(1).Start(2); },
                RecordEnd::kDamaged},
        EndCase{"VideoWithoutAChannel", [](RecordBuilder& r) { r.Start(1).Key(2).Stop(3); },
                RecordEnd::kDamaged},
        EndCase{"AttributesWithoutAChannel",
                [](RecordBuilder& r) { r.Start(1).Attributes(2, 640, 360).Stop(3); },
                RecordEnd::kDamaged}),
    [](const auto& param) { return std::string(param.param.name); });

bool HasReplayedAudio(const std::function<void(RecordBuilder&)>& build) {
  return OfRecord(build, ReplaysAudio);
}

TEST(RecordOutlineTest, TellsWhetherAReplayComesToAudio) {
  EXPECT_TRUE(HasReplayedAudio([](RecordBuilder& r) { r.Start(1).Stop(2).Start(3).Audio(4); }));
  EXPECT_TRUE(HasReplayedAudio([](RecordBuilder& r) { r.Start(1).Audio(2).RawIndex("garbage"); }));
  EXPECT_FALSE(HasReplayedAudio([](RecordBuilder& r) { r.Start(1).RawIndex("garbage").Audio(2); }));
  EXPECT_FALSE(HasReplayedAudio([](RecordBuilder& r) { r.Start(1).Channel(2, kCamera).Key(3); }));
}

TEST(RecordOutlineTest, AnEmptyFrameBehindTheEndOfItsFileHidesNothing) {
  const RecordOutline outline = Outline([](RecordBuilder& record) {
    record.Start(1).Audio(2).DataRecord(0xEEDDCC07, 3, 1000, 0).Audio(4);
    record.RawAudio(std::string(kMaxFrameBytes + 1, 'x'));
    record.DataRecord(0xEEDDCC07, 5, 10, kMaxFrameBytes + 1).Stop(6);
  });
  EXPECT_EQ(outline.end, RecordEnd::kFrameTooLarge);
  EXPECT_EQ(outline.audio_frames, 3u);
}

}  // namespace
}  // namespace kxrtc_host
