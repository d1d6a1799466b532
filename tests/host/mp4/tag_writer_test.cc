// Title, time and chapters in finished files, by an own reading of their boxes.
#include "host/mp4/tag_writer.h"

#include <gmock/gmock.h>

#include <string>

#include "tests/testing/mp4_writer_fixture.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {
namespace {

using kxrtc_host::kMaxListedChapters;
using kxrtc_host::VideoMode;
using ::testing::ElementsAre;

constexpr int64_t kChapterUs = 100000;

class TagWriterTest : public Mp4SinkWriterImpTest {
 protected:
  // A copied file of `frames` frames of silence with `chapters` chapters.
  Mp4File Write(int frames, size_t chapters) {
    options_.video_mode = VideoMode::kCopy;
    for (size_t i = 0; i < chapters; ++i) {
      options_.tags.chapters.push_back(
          {static_cast<int64_t>(i) * kChapterUs, std::to_string(i) + std::string(100, 'x')});
    }
    EXPECT_TRUE(Start());
    Silence(0, frames - 1);
    return Finished();
  }
  bool Contains(const std::string& bytes) const {
    return ReadFile(path_).find(bytes) != std::string::npos;
  }
};

TEST_F(TagWriterTest, WritesNothingWithoutTags) {
  EXPECT_EQ(Write(100, 0).tracks.size(), 1u);
  EXPECT_FALSE(Contains("chpl"));
  EXPECT_FALSE(Contains("\251nam"));
  EXPECT_EQ(writer_->status().chapters_written, 0u);
}

TEST_F(TagWriterTest, WritesTitleAndTime) {
  options_.tags.title = "Weekly \u20AC";
  options_.tags.created_us = 1000000;  // In 1970, which is 2082844800 s after 1904.
  Write(100, 0);
  EXPECT_TRUE(Contains("Weekly \u20AC"));
  EXPECT_TRUE(Contains(std::string("mvhd\0\0\0\0\x7C\x25\xB0\x81", 12)));
}

TEST_F(TagWriterTest, LeavesOutATimeThatAnMp4CannotHold) {
  constexpr int64_t kEndUs = 2212122496000000;  // 2040-02-06T06:28:16Z.
  options_.replace_existing = true;
  for (const int64_t created_us : {int64_t{-1}, kEndUs, kEndUs * 100}) {
    options_.tags.created_us = created_us;
    Write(100, 0);
    EXPECT_TRUE(Contains(std::string("mvhd\0\0\0\0\0\0\0\0", 12))) << created_us;
  }
  options_.tags.created_us = kEndUs - 1;
  Write(100, 0);
  EXPECT_TRUE(Contains(std::string("mvhd\0\0\0\0\xFF\xFF\xFF\xFF", 12)));
}

TEST_F(TagWriterTest, WritesChaptersAsTrackAndList) {
  const Mp4Track track = Write(100, 3).Track("text");
  ASSERT_EQ(track.durations.size(), 3u);
  EXPECT_NEAR(track.TimeOfSampleUs(1), kChapterUs, 10);
  EXPECT_NEAR(track.TimeOfSampleUs(2), 2 * kChapterUs, 10);
  EXPECT_NEAR(track.EndUs(), 100 * 64000 / 3, 1000);
  EXPECT_TRUE(Contains("chpl"));
  EXPECT_EQ(writer_->status().chapters_written, 3u);
}

TEST_F(TagWriterTest, AListThatCannotHoldAllIsLeftOut) {
  for (const size_t chapters : {kMaxListedChapters, kMaxListedChapters + 1}) {
    options_.tags.chapters.clear();
    options_.replace_existing = true;
    EXPECT_EQ(Write(1300, chapters).Track("text").durations.size(), chapters);
    EXPECT_EQ(Contains("chpl"), chapters == kMaxListedChapters);
  }
}

TEST_F(TagWriterTest, LeavesOutWhatComesAfterTheEnd) {
  EXPECT_EQ(Write(10, 4).Track("text").durations.size(), 3u);  // 213 ms.
  EXPECT_EQ(writer_->status().chapters_written, 3u);
}

TEST_F(TagWriterTest, OfChaptersBeforeTheStartTheLastOneIsThere) {
  options_.video_mode = VideoMode::kCopy;
  options_.tags.chapters = {{0, "Ada"}, {2000000, "Ben"}, {6000000, "Cleo"}};
  ASSERT_TRUE(Start());
  Silence(240, 340);  // The file starts at 5.12 s of output time.
  const Mp4Track track = Finished().Track("text");
  EXPECT_EQ(writer_->status().start_us, 240 * kFrameUs);
  ASSERT_EQ(track.durations.size(), 2u);
  EXPECT_NEAR(track.TimeOfSampleUs(1), 6000000 - 240 * kFrameUs, 20);
  EXPECT_FALSE(Contains("Ada"));
  EXPECT_TRUE(Contains("Ben"));
}

TEST_F(TagWriterTest, ChaptersFitIntoTheReservedIndex) {
  options_.bounds = {1, 1300, uint64_t{3} << 20};
  const Mp4File file = Write(1300, 200);
  // What is left of the room stays before the samples: they were not moved.
  EXPECT_THAT(file.boxes, ElementsAre("ftyp", "moov", "free", "free", "mdat"));
  EXPECT_EQ(file.Track("text").durations.size(), 200u);
}

TEST_F(TagWriterTest, AFileWithoutSamplesIsNone) {
  options_.tags.chapters = {{0, "Ada"}};
  ASSERT_TRUE(Start());
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, kxrtc_host::WriterFailure::kNothing);
}

}  // namespace
}  // namespace kx_testing
