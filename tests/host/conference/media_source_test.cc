#include "host/conference/media_source.h"

#include <gmock/gmock.h>

#include <ostream>
#include <string>

#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/tiny_media.h"

namespace kxrtc_host {
namespace {

constexpr int64_t kTimeoutUs = 20000000;
constexpr MediaNeeds kVideo = {true, false, false};
constexpr MediaNeeds kAny = {true, true, false};
constexpr MediaNeeds kSound = {false, true, true};

std::string Video() {
  std::string stream;
  for (const std::string& picture : kx_testing::TinyVideo(64, 32, 10)) stream += picture;
  return stream;
}

std::string Sound() {
  std::string stream;
  for (int i = 0; i < 20; ++i) stream += kx_testing::WithAdts(kx_testing::SilentAudio());
  return stream;
}

struct SourceCase {
  const char* name;
  std::string content;
  const char* format;
  MediaNeeds needs;
  MediaProblem problem;
  const char* error;  // What follows the path.
};

void PrintTo(const SourceCase& test, std::ostream* out) { *out << test.name; }

class MediaSourceTest : public testing::TestWithParam<SourceCase> {};

TEST_P(MediaSourceTest, OpensOrTellsWhyNot) {
  const kx_testing::TempDir dir;
  const SourceCase& test = GetParam();
  kx_testing::WriteFile(dir.File("source"), test.content);
  MediaSpec media;
  media.source = dir.File("source");
  media.format = test.format;
  MediaSource source;
  std::string error;
  EXPECT_EQ(source.Open(media, test.needs, kTimeoutUs, &error), test.problem);
  EXPECT_EQ(error, test.problem == MediaProblem::kNone ? "" : media.source + test.error);
  const bool is_open = test.problem == MediaProblem::kNone;
  EXPECT_EQ(source.video() != nullptr, is_open && test.needs.video);
}

constexpr char kInvalid[] = ": cannot be opened: Invalid data found when processing input";

INSTANTIATE_TEST_SUITE_P(
    Files, MediaSourceTest,
    testing::Values(
        SourceCase{"Video", Video(), "", kVideo, MediaProblem::kNone, ""},
        SourceCase{"VideoOfAFormat", Video(), "h264", kVideo, MediaProblem::kNone, ""},
        SourceCase{"VideoWithoutItsSound", Video(), "", kAny, MediaProblem::kNone, ""},
        SourceCase{"Sound", Sound(), "", kSound, MediaProblem::kNone, ""},
        SourceCase{"NoFormat", std::string(4000, '\x01'), "", kVideo, MediaProblem::kUnreadable,
                   kInvalid},
        SourceCase{"UnknownFormat", Video(), "none", kVideo, MediaProblem::kUnreadable,
                   ": unknown format \"none\""},
        SourceCase{"Empty", "", "", kVideo, MediaProblem::kUnreadable, kInvalid},
        SourceCase{"NoVideo", Sound(), "", kVideo, MediaProblem::kUnreadable,
                   ": contains no video"},
        SourceCase{"NoSound", Video(), "", kSound, MediaProblem::kUnreadable,
                   ": contains no sound"},
        SourceCase{"NamesOtherFiles", "ffconcat version 1.0\nfile 'other'\n", "", kVideo,
                   MediaProblem::kUnreadable,
                   ": cannot be opened: Invalid argument (as concat, without the media that it "
                   "may name)"}),
    [](const auto& test) { return test.param.name; });

TEST(MediaSourceReadTest, PicturesFollowTheGivenRate) {
  const kx_testing::TempDir dir;
  kx_testing::WriteFile(dir.File("source"), Video());
  MediaSpec media;
  media.source = dir.File("source");
  media.frame_rate = 20;
  MediaSource source;
  std::string error;
  ASSERT_EQ(source.Open(media, kVideo, kTimeoutUs, &error), MediaProblem::kNone) << error;
  const PacketHandle packet(av_packet_alloc());
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(source.Read(packet.get(), &error), MediaSource::Kind::kVideo);
    EXPECT_EQ(packet->dts, i * 50000);
    EXPECT_EQ(packet->duration, 50000);
  }
  EXPECT_EQ(source.Read(packet.get(), &error), MediaSource::Kind::kEnd);
  EXPECT_FALSE(source.reorders_pictures());
}

}  // namespace
}  // namespace kxrtc_host
