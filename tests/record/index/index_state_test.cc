#include "record/index/index_state.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "record/index/frame_limit.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

constexpr uint64_t kFileSize = 100;

IndexRecord Plain(uint32_t type) {
  IndexRecord record;
  record.header.type = type;
  return record;
}

IndexRecord Channel(uint32_t media_type) {
  IndexRecord record = Plain(kxrtc::kNewChannel);
  record.channel.media_type = media_type;
  return record;
}

IndexRecord Frame(uint32_t type, uint64_t position, uint32_t size) {
  IndexRecord record = Plain(type);
  record.data = {position, size};
  return record;
}

class IndexStateTest : public testing::Test {
 protected:
  IndexStateTest() {
    for (ReadOnlyFile* file : {&video_, &audio_}) {
      kx_testing::WriteFile(dir_.File("data"), std::string(kFileSize, 'x'));
      EXPECT_EQ(file->Open(dir_.File("data")), ReadOnlyFile::State::kOpen);
    }
  }

  kx_testing::TempDir dir_;
  ReadOnlyFile video_;
  ReadOnlyFile audio_;
  IndexState state_{&video_, &audio_};
};

struct PlaceCase {
  const char* name;
  uint64_t position;
  uint32_t size;
  FramePlace place;
};

class FramePlaceTest : public IndexStateTest, public testing::WithParamInterface<PlaceCase> {};

TEST_P(FramePlaceTest, IsToldForBothKindsOfFrame) {
  for (const uint32_t type : {kxrtc::kVideoData, kxrtc::kAudioData}) {
    EXPECT_EQ(state_.PlaceOf(Frame(type, GetParam().position, GetParam().size)), GetParam().place);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Places, FramePlaceTest,
    testing::Values(PlaceCase{"Whole", 0, kFileSize, FramePlace::kInFile},
                    PlaceCase{"LastByte", kFileSize - 1, 1, FramePlace::kInFile},
                    PlaceCase{"OneByteTooMany", 0, kFileSize + 1, FramePlace::kMissing},
                    PlaceCase{"BehindTheEnd", kFileSize, 1, FramePlace::kMissing},
                    PlaceCase{"SumOverflows", UINT64_MAX, 2, FramePlace::kMissing},
                    PlaceCase{"EmptyInside", 5, 0, FramePlace::kInFile},
                    PlaceCase{"EmptyAtTheEnd", kFileSize, 0, FramePlace::kInFile},
                    PlaceCase{"EmptyBehindTheEnd", kFileSize + 1, 0, FramePlace::kEmptyBehindEnd},
                    PlaceCase{"EmptyWhereNoFileReaches", UINT64_MAX, 0, FramePlace::kMissing}),
    [](const auto& test) { return test.param.name; });

struct FaultCase {
  const char* name;
  std::vector<IndexRecord> before;
  IndexRecord record;
  RecordFault fault;
};

class RecordFaultTest : public IndexStateTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(RecordFaultTest, IsToldBeforeTheRecordIsTaken) {
  for (const IndexRecord& record : GetParam().before) state_.Take(record);
  EXPECT_EQ(state_.FaultOf(GetParam().record), GetParam().fault);
}

std::vector<FaultCase> FaultCases() {
  const IndexRecord start = Plain(kxrtc::kStartRecording);
  const IndexRecord stop = Plain(kxrtc::kStopRecording);
  const IndexRecord attributes = Plain(kxrtc::kNewVideoAttributes);
  const IndexRecord video = Frame(kxrtc::kVideoData, 0, 8);
  const IndexRecord audio = Frame(kxrtc::kAudioData, 0, 8);
  const IndexRecord missing = Frame(kxrtc::kVideoData, kFileSize, 8);
  return {
      {"FirstStart", {}, start, RecordFault::kNone},
      {"StartInASession", {start}, start, RecordFault::kOpenSession},
      {"StartBehindAStop", {start, stop}, start, RecordFault::kNone},
      {"StopFirst", {}, stop, RecordFault::kNoSession},
      {"StopTwice", {start, stop}, stop, RecordFault::kNoSession},
      {"AudioFirst", {}, audio, RecordFault::kNoSession},
      {"AudioBehindAStrayRecord", {audio}, audio, RecordFault::kNone},
      {"AudioBehindAStrayStop", {stop}, audio, RecordFault::kNoSession},
      {"AudioNeedsNoChannel", {start}, audio, RecordFault::kNone},
      {"VideoWithoutAChannel", {start}, video, RecordFault::kNoChannel},
      {"AttributesWithoutAChannel", {start}, attributes, RecordFault::kNoChannel},
      {"VideoOfAnAudioOnlyChannel",
       {start, Channel(2), Channel(0)},
       video,
       RecordFault::kNoChannel},
      {"VideoOfAChannel", {start, Channel(2)}, video, RecordFault::kNone},
      {"AttributesOfAnyMediaType", {start, Channel(77)}, attributes, RecordFault::kNone},
      {"TheChannelCarriesOver", {start, Channel(3), stop, start}, video, RecordFault::kNone},
      {"MissingFrame", {start, Channel(2)}, missing, RecordFault::kMissingFrame},
      {"TheChannelIsAskedForFirst", {start}, missing, RecordFault::kNoChannel},
      {"TheSessionIsAskedForFirst", {Channel(2), stop}, missing, RecordFault::kNoSession},
  };
}

INSTANTIATE_TEST_SUITE_P(Records, RecordFaultTest, testing::ValuesIn(FaultCases()),
                         [](const auto& test) { return test.param.name; });

// Each file may be named once, and one frame of any size twice.
TEST_F(IndexStateTest, TellsRecordsThatNameTheSameBytesAgainAndAgain) {
  state_.Take(Plain(kxrtc::kStartRecording));
  state_.Take(Channel(2));
  const IndexRecord whole = Frame(kxrtc::kVideoData, 0, kFileSize);
  constexpr uint64_t kTimes = kMaxFrameBytes / kFileSize;
  for (uint64_t i = 0; i < kTimes; ++i) state_.Take(whole);
  constexpr auto kLeft = static_cast<uint32_t>(kFileSize + kMaxFrameBytes - kTimes * kFileSize);
  static_assert(kLeft > kFileSize && kLeft < 2 * kFileSize);
  state_.Take(whole);
  EXPECT_EQ(state_.FaultOf(Frame(kxrtc::kVideoData, 0, kLeft - kFileSize)), RecordFault::kNone);
  EXPECT_EQ(state_.FaultOf(Frame(kxrtc::kVideoData, 0, kLeft - kFileSize + 1)),
            RecordFault::kRepeatedBytes);
  EXPECT_EQ(state_.FaultOf(Frame(kxrtc::kAudioData, 0, kFileSize)), RecordFault::kNone);
}

TEST_F(IndexStateTest, FollowsSessionAndChannel) {
  EXPECT_FALSE(state_.in_session());
  state_.Take(Plain(kxrtc::kStartRecording));
  state_.Take(Channel(3));
  EXPECT_TRUE(state_.in_session());
  EXPECT_EQ(state_.media_type(), 3u);
  state_.Take(Plain(kxrtc::kStopRecording));
  EXPECT_FALSE(state_.in_session());
  EXPECT_EQ(state_.media_type(), 3u);
}

}  // namespace
}  // namespace kxrtc_host
