#include "record/index/index_walker.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::BigEndian32;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::ElementsAre;

// Each step as text, e.g. "audio 16", "garbage 0 +5" or "truncated 12 +3".
std::vector<std::string> Walk(ReadOnlyFile* file, std::function<bool()> is_wanted = nullptr) {
  std::vector<std::string> steps;
  IndexWalker walker(file, std::move(is_wanted));
  IndexRecord record;
  for (;;) {
    const IndexWalker::Step step = walker.Next(&record);
    const std::string offset = " " + std::to_string(record.offset);
    const std::string skipped = " +" + std::to_string(walker.skipped_bytes());
    switch (step) {
      case IndexWalker::Step::kRecord:
        steps.push_back(RecordTypeName(record.header.type) + offset);
        break;
      case IndexWalker::Step::kGarbage:
        steps.push_back("garbage" + offset + skipped);
        break;
      case IndexWalker::Step::kTruncated:
        steps.push_back("truncated" + offset + skipped);
        break;
      case IndexWalker::Step::kChanged:
        steps.push_back("changed");
        break;
      case IndexWalker::Step::kStopped:
        steps.push_back("stopped");
        return steps;
      case IndexWalker::Step::kEnd:
        return steps;
    }
  }
}

std::vector<std::string> WalkBytes(const std::string& bytes) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("index"), bytes);
  ReadOnlyFile file;
  EXPECT_EQ(file.Open(dir.File("index")), ReadOnlyFile::State::kOpen);
  return Walk(&file);
}

std::string SmallIndex() {
  const TempDir dir;
  return RecordBuilder(dir).Start(0).Channel(1, 2).Attributes(2, 640, 360).Key(3).Stop(4).index();
}

TEST(IndexWalkerTest, StepsThroughEachKindOfRecord) {
  EXPECT_THAT(WalkBytes(SmallIndex()),
              ElementsAre("start 0", "channel 12", "attributes 28", "video 52", "stop 76"));
}

TEST(IndexWalkerTest, DecodesThePayloads) {
  const TempDir dir;
  RecordBuilder(dir)
      .Channel(-5, 3)
      .Attributes(6, 640, 360, -90)
      .DataRecord(0xEEDDCC07, 7, ~uint64_t{0}, 0xFFFFFFFF)
      .Write();
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("SpeakeRecord.index")), ReadOnlyFile::State::kOpen);
  IndexWalker walker(&file);
  IndexRecord record;
  ASSERT_EQ(walker.Next(&record), IndexWalker::Step::kRecord);
  EXPECT_EQ(record.header.record_timestamp_us, -5);
  EXPECT_EQ(record.channel.media_type, 3u);
  ASSERT_EQ(walker.Next(&record), IndexWalker::Step::kRecord);
  EXPECT_EQ(record.attributes.rotation_angle, -90);
  EXPECT_EQ(record.attributes.width, 640u);
  ASSERT_EQ(walker.Next(&record), IndexWalker::Step::kRecord);
  EXPECT_EQ(record.data.start_position, ~uint64_t{0});
  EXPECT_EQ(record.data.size, 0xFFFFFFFF);
  EXPECT_EQ(walker.Next(&record), IndexWalker::Step::kEnd);
}

TEST(IndexWalkerTest, EndsInATruncatedRecordAtEveryCut) {
  const std::string index = SmallIndex();
  const std::vector<size_t> boundaries = {0, 12, 28, 52, 76, 88};
  for (size_t size = 0; size <= index.size(); ++size) {
    const auto steps = WalkBytes(index.substr(0, size));
    const bool whole = std::find(boundaries.begin(), boundaries.end(), size) != boundaries.end();
    if (whole) {
      EXPECT_TRUE(steps.empty() || steps.back().find("truncated") != 0) << size;
    } else {
      ASSERT_FALSE(steps.empty());
      const size_t start = *std::prev(std::upper_bound(boundaries.begin(), boundaries.end(), size));
      EXPECT_EQ(steps.back(),
                "truncated " + std::to_string(start) + " +" + std::to_string(size - start));
    }
  }
}

TEST(IndexWalkerTest, GoesOnBehindBytesThatAreNoRecord) {
  EXPECT_THAT(WalkBytes(std::string(5, 'x') + SmallIndex() + std::string(30, '\0') + SmallIndex()),
              ElementsAre("garbage 0 +5", "start 5", "channel 17", "attributes 33", "video 57",
                          "stop 81", "garbage 93 +30", "start 123", "channel 135", "attributes 151",
                          "video 175", "stop 199"));
}

TEST(IndexWalkerTest, DoesNotTakeALoneTypeInGarbageForARecord) {
  const std::string lookalike =
      std::string(20, 'x') + BigEndian32(0xEEDDCC01) + std::string(40, 'y');
  EXPECT_THAT(WalkBytes(lookalike + SmallIndex()),
              ElementsAre("garbage 0 +64", "start 64", "channel 76", "attributes 92", "video 116",
                          "stop 140"));
}

// The file is read window by window. Here one ends between the header and the payload of a record.
TEST(IndexWalkerTest, DecodesTheRecordsOfALongIndex) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(0, 2);
  constexpr uint32_t kFrames = 3 * ReadOnlyFile::kWindowSize / 24;
  for (uint32_t i = 0; i < kFrames; ++i) builder.DataRecord(0xEEDDCC06, i, i * uint64_t{3}, i);
  kx_testing::WriteFile(dir.File("index"), builder.index());
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("index")), ReadOnlyFile::State::kOpen);
  IndexWalker walker(&file);
  IndexRecord record;
  ASSERT_EQ(walker.Next(&record), IndexWalker::Step::kRecord);
  ASSERT_EQ(walker.Next(&record), IndexWalker::Step::kRecord);
  for (uint32_t i = 0; i < kFrames; ++i) {
    ASSERT_EQ(walker.Next(&record), IndexWalker::Step::kRecord);
    ASSERT_EQ(record.header.record_timestamp_us, i);
    ASSERT_EQ(record.data.start_position, i * uint64_t{3});
    ASSERT_EQ(record.data.size, i);
  }
  EXPECT_EQ(walker.Next(&record), IndexWalker::Step::kEnd);
}

TEST(IndexWalkerTest, EndsWithGarbageWhereNoRecordFollows) {
  EXPECT_THAT(WalkBytes(std::string(20, 'x') + BigEndian32(0xEEDDCC01)),
              ElementsAre("garbage 0 +24"));
  EXPECT_THAT(WalkBytes(std::string(1000, '\0')), ElementsAre("garbage 0 +1000"));
}

TEST(IndexWalkerTest, EndsWhereTheFileBecameShorter) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("index"), SmallIndex());
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("index")), ReadOnlyFile::State::kOpen);
  std::filesystem::resize_file(dir.File("index"), 30);
  EXPECT_THAT(Walk(&file), ElementsAre("start 0", "channel 12", "changed"));
}

TEST(IndexWalkerTest, EndsInTheMidstOfGarbageThatNobodyWants) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("index"), SmallIndex() + std::string(1 << 20, 'x'));
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("index")), ReadOnlyFile::State::kOpen);
  int questions = 0;
  const auto steps = Walk(&file, [&questions] { return ++questions < 3; });
  EXPECT_EQ(steps.back(), "stopped");
  EXPECT_EQ(questions, 3);
}

TEST(IndexWalkerTest, PassesOverTheHolesOfASparseFile) {
  const TempDir dir;
  constexpr uint64_t kFar = uint64_t{1} << 40;
  kx_testing::WriteFile(dir.File("index"), SmallIndex());
  std::filesystem::resize_file(dir.File("index"), kFar);
  std::ofstream(dir.File("index"), std::ios::app) << SmallIndex();
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("index")), ReadOnlyFile::State::kOpen);
  const std::vector<std::string> steps = Walk(&file);
  ASSERT_EQ(steps.size(), 11u);
  EXPECT_EQ(steps[5], "garbage 88 +" + std::to_string(kFar - 88));
  EXPECT_EQ(steps[6], "start " + std::to_string(kFar));
}

TEST(IndexWalkerTest, EndsBetweenRecordsThatNobodyWants) {
  const TempDir dir;
  std::string index;
  const std::string small = SmallIndex();
  while (index.size() < 1000000) index += small;
  kx_testing::WriteFile(dir.File("index"), index);
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("index")), ReadOnlyFile::State::kOpen);
  const auto steps = Walk(&file, [] { return false; });
  EXPECT_EQ(steps.back(), "stopped");
  EXPECT_LT(steps.size(), index.size() / 88);
}

}  // namespace
}  // namespace kxrtc_host
