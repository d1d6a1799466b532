// kxrtc thumbnails on real pictures of known colours.
#include <gmock/gmock.h>
#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/tiny_media.h"

namespace {

using kx_testing::kCamera;
using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RecordBuilder;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

constexpr int64_t kSecondUs = 1000000;

// A key frame of one colour.
std::string Picture(const std::string& colour, const std::string& size = "320x180") {
  const ShellResult made =
      RunShell("ffmpeg -nostdin -v error -f lavfi -i color=" + colour + ":s=" + size +
               ":d=0.1:r=10 -frames:v 1 -pix_fmt yuv420p "
               "-c:v libx264 -preset ultrafast -x264-params aud=1 -f h264 -");
  EXPECT_EQ(made.exit_status, 0) << made.errors;
  return made.output;
}

// One picture for each second, with sound all the time.
class ColourRecord {
 public:
  explicit ColourRecord(const TempDir& dir) : builder_(dir) {
    builder_.Start(0).Channel(0, kCamera);
  }

  ColourRecord& Second(const std::string& picture, int width = 320, int height = 180,
                       int32_t rotation = 0) {
    builder_.Attributes(now_us_ + 1, width, height, rotation).Video(now_us_ + 2, picture);
    return Sound();
  }

  ColourRecord& Sound(int seconds = 1) {
    const std::string silence = kx_testing::AdtsFrame(kx_testing::kAdts48000, 2);
    const int64_t end_us = now_us_ + seconds * kSecondUs;
    for (; next_audio_us_ < end_us; next_audio_us_ += 21333) {
      builder_.Audio(next_audio_us_, silence);
    }
    now_us_ = end_us;
    return *this;
  }

  void Write() { builder_.Stop(now_us_ + 10000).Write(); }

 private:
  RecordBuilder builder_;
  int64_t now_us_ = 0;
  int64_t next_audio_us_ = 100;
};

// "red", "blue" and so on for a point of a JPEG file; what is no pure colour as numbers.
std::string ColourAt(const std::string& jpeg, int x, int y) {
  const ShellResult rgb = RunShell("ffmpeg -nostdin -v error -i " + Quoted(jpeg) +
                                   " -vf format=rgb24,crop=2:2:" + std::to_string(x) + ":" +
                                   std::to_string(y) + " -f rawvideo - | od -An -tu1 -N3");
  int red = 0;
  int green = 0;
  int blue = 0;
  std::istringstream(rgb.output) >> red >> green >> blue;
  const auto is = [&](int r, int g, int b) {
    return std::max({std::abs(red - r), std::abs(green - g), std::abs(blue - b)}) < 24;
  };
  if (is(255, 0, 0)) return "red";
  if (is(0, 0, 255)) return "blue";
  if (is(0, 128, 0)) return "green";
  if (is(0, 0, 0)) return "black";
  return rgb.output;
}

struct Cue {
  std::string times;
  std::string file;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

std::vector<Cue> ReadCues(const std::string& path) {
  std::istringstream lines(ReadFile(path));
  std::vector<Cue> cues;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(" --> ") == std::string::npos) continue;
    Cue cue;
    cue.times = line;
    std::getline(lines, line);
    cue.file = line.substr(0, line.find('#'));
    EXPECT_EQ(std::sscanf(line.substr(line.find('#')).c_str(), "#xywh=%d,%d,%d,%d", &cue.x, &cue.y,
                          &cue.width, &cue.height),
              4);
    cues.push_back(cue);
  }
  return cues;
}

class ThumbnailsCommandTest : public testing::Test {
 protected:
  ShellResult Make(const std::string& options = "") {
    return RunKxrtc("thumbnails " + options + " " + Quoted(record_.path()) + " " + Quoted(out_));
  }

  // The colours in the middle of the cues.
  std::vector<std::string> Colours(const std::string& folder) const {
    std::vector<std::string> colours;
    for (const Cue& cue : ReadCues(folder + "/storyboard.vtt")) {
      colours.push_back(
          ColourAt(folder + "/" + cue.file, cue.x + cue.width / 2, cue.y + cue.height / 2));
    }
    return colours;
  }

  const TempDir record_;
  const TempDir folder_;
  const std::string out_ = folder_.File("pictures");
};

TEST_F(ThumbnailsCommandTest, ShowsWhatTheMp4Shows) {
  ColourRecord(record_)
      .Second(Picture("black"))
      .Second(Picture("red"))
      .Second(Picture("blue", "180x320"), 180, 320, 90)
      .Second(Picture("green", "640x480"), 640, 480)
      .Write();
  const ShellResult result = Make("--interval 1 --json");
  ASSERT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(Colours(out_), ElementsAre("black", "red", "blue", "green"));
  EXPECT_EQ(ColourAt(out_ + "/poster.jpg", 160, 90), "red") << "the first that is not black";
  // A turned picture fills the tile, one of another shape has bars.
  const std::vector<Cue> cues = ReadCues(out_ + "/storyboard.vtt");
  EXPECT_EQ(ColourAt(out_ + "/" + cues[2].file, cues[2].x + 4, cues[2].y + 45), "blue");
  EXPECT_EQ(ColourAt(out_ + "/" + cues[3].file, cues[3].x + 4, cues[3].y + 45), "black");

  Json::Value document;
  std::istringstream(result.output) >> document;
  EXPECT_EQ(document["document"].asString(), "kxrtc.thumbnails");
  EXPECT_EQ(document["version"].asInt(), 1);
  EXPECT_EQ(document["poster"]["shows"].asString(), "good");
  EXPECT_NEAR(document["poster"]["time_us"].asDouble(), 1e6, 5e4);
  EXPECT_EQ(document["poster"]["width"].asInt(), 320);
  EXPECT_EQ(document["storyboard"]["cues"].asInt(), 4);
  EXPECT_EQ(document["storyboard"]["sheets"][0]["file"].asString(), "storyboard-001.jpg");
  EXPECT_EQ(document["storyboard"]["unreadable_pictures"].asInt(), 0);
}

TEST_F(ThumbnailsCommandTest, RecordAndBothKindsOfMp4Agree) {
  ColourRecord(record_)
      .Second(Picture("red"))
      .Second(Picture("blue"))
      .Sound(8)  // The icon.
      .Second(Picture("green"))
      .Write();
  ASSERT_EQ(Make("--count 11").exit_status, 0);
  const std::vector<Cue> cues = ReadCues(out_ + "/storyboard.vtt");
  const std::string mp4 = folder_.File("copy.mp4");
  ASSERT_EQ(RunKxrtc("transcode --quiet --video copy " + Quoted(record_.path()) + " " + Quoted(mp4))
                .exit_status,
            0);
  const std::string copied = folder_.File("copied");
  const ShellResult result =
      RunKxrtc("thumbnails --count 11 " + Quoted(mp4) + " " + Quoted(copied));
  ASSERT_EQ(result.exit_status, 0) << result.errors;
  const std::vector<Cue> copied_cues = ReadCues(copied + "/storyboard.vtt");
  EXPECT_EQ(copied_cues.front().times, cues.front().times);
  EXPECT_EQ(Colours(out_).front(), "red");
  EXPECT_EQ(Colours(copied).front(), "red");
  EXPECT_EQ(Colours(out_).back(), "green");
  EXPECT_EQ(Colours(copied).back(), "green");
  EXPECT_EQ(ColourAt(copied + "/poster.jpg", 160, 90), "red");

  const std::string encoded_mp4 = folder_.File("encode.mp4");
  ASSERT_EQ(RunKxrtc("transcode --quiet --no-hardware --preset ultrafast " +
                     Quoted(record_.path()) + " " + Quoted(encoded_mp4))
                .exit_status,
            0);
  const std::string encoded = folder_.File("encoded");
  ASSERT_EQ(RunKxrtc("thumbnails " + Quoted(encoded_mp4) + " " + Quoted(encoded)).exit_status, 0);
  EXPECT_EQ(Colours(encoded).front(), "red");
}

TEST_F(ThumbnailsCommandTest, TurnsThePicturesOfAnMp4LikeItsTrack) {
  const std::string picture = Picture("red");
  ColourRecord(record_).Second(picture, 320, 180, 90).Second(picture, 320, 180, 90).Write();
  const std::string mp4 = folder_.File("copy.mp4");
  ASSERT_EQ(RunKxrtc("transcode --quiet --video copy " + Quoted(record_.path()) + " " + Quoted(mp4))
                .exit_status,
            0);
  const ShellResult result = RunKxrtc("thumbnails --json " + Quoted(mp4) + " " + Quoted(out_));
  ASSERT_EQ(result.exit_status, 0) << result.errors;
  Json::Value document;
  std::istringstream(result.output) >> document;
  EXPECT_EQ(document["poster"]["width"].asInt(), 180);
  EXPECT_EQ(document["poster"]["height"].asInt(), 320);
}

TEST_F(ThumbnailsCommandTest, ThePosterIsNotTheIcon) {
  ColourRecord(record_).Sound(2).Second(Picture("red")).Second(Picture("red")).Write();
  const std::string mp4 = folder_.File("copy.mp4");
  ASSERT_EQ(RunKxrtc("transcode --quiet --video copy " + Quoted(record_.path()) + " " + Quoted(mp4))
                .exit_status,
            0);
  ASSERT_EQ(RunKxrtc("thumbnails " + Quoted(mp4) + " " + Quoted(out_)).exit_status, 0);
  EXPECT_EQ(ColourAt(out_ + "/poster.jpg", 160, 90), "red");
}

TEST_F(ThumbnailsCommandTest, WarnsOfDamagedAndOfBlackPictures) {
  const std::string black = Picture("black");
  ColourRecord(record_).Second(black).Second(black.substr(0, black.size() - 8)).Write();
  const ShellResult result = Make("--interval 1");
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.errors,
            "kxrtc: warning: all pictures are black, the poster too\n"
            "kxrtc: warning: 1 picture could not be decoded; the one before is shown instead\n");
}

TEST_F(ThumbnailsCommandTest, ReplacesFilesOnlyIfAsked) {
  ColourRecord(record_).Second(Picture("red")).Write();
  ASSERT_EQ(Make().exit_status, 0);
  kx_testing::WriteFile(out_ + "/storyboard.vtt", "mine");
  fs::remove(out_ + "/storyboard-001.jpg");
  const ShellResult refused = Make();
  EXPECT_EQ(refused.exit_status, 5);
  EXPECT_EQ(refused.errors,
            "kxrtc: " + out_ + "/storyboard.vtt already exists; --force replaces it\n");
  EXPECT_EQ(ReadFile(out_ + "/storyboard.vtt"), "mine");
  EXPECT_FALSE(fs::exists(out_ + "/storyboard-001.jpg"));
  EXPECT_EQ(Make("--force").exit_status, 0);
  EXPECT_THAT(ReadFile(out_ + "/storyboard.vtt"), HasSubstr("WEBVTT"));
  EXPECT_TRUE(fs::exists(out_ + "/storyboard-001.jpg"));
}

TEST_F(ThumbnailsCommandTest, WithoutAPictureThereIsNothing) {
  ColourRecord(record_).Sound(3).Write();
  ShellResult result = Make();
  EXPECT_EQ(result.exit_status, 8);
  EXPECT_EQ(result.errors, "kxrtc: " + record_.path() + " has no picture that can be shown\n");
  ColourRecord(record_).Second(std::string("\0\0\0\1\x65", 5) + "broken").Write();
  result = Make();
  EXPECT_EQ(result.exit_status, 8);
  result = RunKxrtc("thumbnails " + Quoted(folder_.path()) + " " + Quoted(out_));
  EXPECT_EQ(result.exit_status, 3);
  EXPECT_FALSE(fs::exists(out_));
}

struct RefusalCase {
  const char* name;
  const char* options;
  const char* message;
};

class ThumbnailsRefusalTest : public ThumbnailsCommandTest,
                              public testing::WithParamInterface<RefusalCase> {};

TEST_P(ThumbnailsRefusalTest, SaysWhatToDo) {
  ColourRecord(record_).Second(kx_testing::TinyVideo(320, 180, 1).front()).Sound(300).Write();
  const ShellResult result = Make(GetParam().options);
  EXPECT_EQ(result.exit_status, 2);
  EXPECT_THAT(result.errors, HasSubstr(GetParam().message));
  EXPECT_FALSE(fs::exists(out_));
}

INSTANTIATE_TEST_SUITE_P(
    Options, ThumbnailsRefusalTest,
    testing::Values(RefusalCase{"OddSize", "--size 161x90", "161x90 is not from 16x16 to 640x640"},
                    RefusalCase{"LargeSize", "--size 642x90", "642x90 is not from"},
                    RefusalCase{"NoSize", "--size 160", "160 is not a size such as 160x90"},
                    RefusalCase{"ShortInterval", "--interval 0.1", "the shortest for this one is"},
                    RefusalCase{"NoCount", "--count 0", "--count"},
                    RefusalCase{"LargeCount", "--count 2049", "--count"},
                    RefusalCase{"Both", "--count 3 --interval 5", "--count excludes --interval"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
