// Copied pictures that are shown in another order than they are coded in.
#include <gmock/gmock.h>

#include <map>

#include "tests/testing/mp4_writer_fixture.h"

namespace kxrtc_host {
namespace {

using kx_testing::CopyTest;
using kx_testing::kFrameUs;
using kx_testing::Mp4File;
using kx_testing::Mp4Track;
using kx_testing::TinyReorderedVideo;
using kx_testing::TinyVideo;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// When each sample is shown, in coded order.
std::vector<int64_t> ShownUs(const Mp4Track& track) {
  std::vector<int64_t> times;
  for (size_t i = 0; i < track.durations.size(); ++i) {
    times.push_back(track.TimeOfSampleUs(i) + (track.offsets.empty() ? 0 : track.offsets[i]));
  }
  return times;
}

TEST_F(CopyTest, BPicturesAreShownInTheirOrder) {
  const std::vector<std::string> units = TinyReorderedVideo(64, 32, 7);  // I P B B P B B
  ASSERT_TRUE(Start());
  Attributes();
  for (int i = 0; i < 7; ++i) {
    ASSERT_TRUE(Video((i + 1) * 10 * kFrameUs, units[static_cast<size_t>(i)]));
    Silence(i * 10 + 1, i * 10 + 10);
  }
  const Mp4Track video = Finished().Track("vide");
  EXPECT_EQ(video.start_us, 213333);
  EXPECT_THAT(ShownUs(video),
              ElementsAre(213333, 853333, 426667, 640000, 1493333, 1066667, 1280000));
  EXPECT_THAT(video.durations, ElementsAre(106667, 106667, 213333, 213333, 213334, 213333, 213333));
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
  EXPECT_THAT(kx_testing::ShownLumas(path_), ElementsAre(40, 43, 46, 49, 52, 55, 58));
}

// Which track each chunk belongs to, in the order of the file.
std::string ChunkOrder(const Mp4File& file) {
  std::map<uint64_t, char> chunks;
  for (const Mp4Track& track : file.tracks) {
    for (const uint64_t offset : track.chunk_offsets) chunks[offset] = track.handler[0];
  }
  std::string order;
  for (const auto& chunk : chunks) order += chunk.second;
  return order;
}

TEST_F(CopyTest, AStreamThatCouldReorderButDoesNotMakesTheSameFile) {
  // Without the B pictures.
  std::vector<std::string> waiting;
  const std::vector<std::string> units = TinyReorderedVideo(64, 32, 61);
  for (size_t i = 0; i < units.size(); i += i == 0 ? 1 : 3) waiting.push_back(units[i]);
  options_.replace_existing = true;
  std::vector<Mp4File> files;
  for (const auto& pictures : {TinyVideo(64, 32, 21), waiting}) {
    ASSERT_TRUE(Start());
    Attributes();
    for (int i = 0; i < 21; ++i) {
      ASSERT_TRUE(Video((i * 2 + 1) * kFrameUs, pictures[static_cast<size_t>(i)]));
      Silence(i * 2 + 1, i * 2 + 2);
    }
    files.push_back(Finished());
    EXPECT_THAT(writer_->status().warnings, IsEmpty());
  }
  EXPECT_EQ(files[0].Track("vide").durations, files[1].Track("vide").durations);
  EXPECT_THAT(files[1].Track("vide").offsets, IsEmpty());
  EXPECT_EQ(ChunkOrder(files[0]), ChunkOrder(files[1]));
}

TEST_F(CopyTest, PicturesWhoseOrderCannotBeReadAreTold) {
  std::vector<std::string> units = TinyReorderedVideo(64, 32, 7);
  ASSERT_TRUE(Start());
  Attributes();
  for (int i = 0; i < 7; ++i) {
    std::string& unit = units[static_cast<size_t>(i)];
    // The slice header ends behind its first bytes.
    if (i == 2) unit.resize(unit.find(std::string("\0\0\1\x01", 4)) + 6);
    ASSERT_TRUE(Video((i + 1) * 10 * kFrameUs, unit));
    Silence(i * 10 + 1, i * 10 + 10);
  }
  const Mp4Track video = Finished().Track("vide");
  EXPECT_EQ(video.durations.size(), 7u);
  EXPECT_THAT(
      writer_->status().warnings,
      ElementsAre("the display order of some pictures cannot be derived (1 of 7); copied video "
                  "shows them as they were recorded; use encode mode"));
}

TEST_F(CopyTest, PicturesThatWaitForTheirPlaceAreBounded) {
  // Half a megabyte each, and the picture shown last comes first.
  const std::vector<std::string> units = TinyReorderedVideo(64, 32, 7);
  const std::string large = units[2] + std::string(1 << 19, '\x55');
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(kFrameUs, units[0]));
  ASSERT_TRUE(Video(2 * kFrameUs, units[1]));
  for (int i = 3; i < 200; ++i) ASSERT_TRUE(Video(i * kFrameUs, large));
  Silence(1, 200);
  EXPECT_EQ(Finished().Track("vide").durations.size(), 199u);
  EXPECT_THAT(writer_->status().warnings, Contains(::testing::HasSubstr("cannot be derived")));
}

}  // namespace
}  // namespace kxrtc_host
