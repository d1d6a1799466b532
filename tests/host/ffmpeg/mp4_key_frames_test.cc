#include "host/ffmpeg/mp4_key_frames.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <random>
#include <string>

#include "tests/testing/shell.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunShell;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using testing::ElementsAre;
using testing::HasSubstr;

class Mp4KeyFramesTest : public testing::Test {
 protected:
  // Four seconds of red and a tone, a key frame each second; B pictures, so decoding comes before
  // display.
  void MakeMp4(const std::string& options = "-c:v libx264 -g 10 -bf 2 -x264-params scenecut=0") {
    const kx_testing::ShellResult made = RunShell(
        "ffmpeg -nostdin -v error -y -f lavfi -i color=red:s=320x180:r=10:d=4 -f lavfi -i "
        "sine=d=4 -pix_fmt yuv420p " +
        options + " -c:a aac " + Quoted(path_));
    ASSERT_EQ(made.exit_status, 0) << made.errors;
  }

  // Why the file is refused.
  std::string Refusal() {
    std::string error;
    return Mp4KeyFrames().Open(path_, &error) ? "" : error;
  }

  TempDir dir_;
  std::string path_ = dir_.File("in.mp4");
};

TEST_F(Mp4KeyFramesTest, ReadsKeyFramesWithTheirParameterSets) {
  MakeMp4();
  Mp4KeyFrames frames;
  std::string error;
  ASSERT_TRUE(frames.Open(path_, &error)) << error;
  EXPECT_EQ(frames.duration_us(), 4000000);
  ASSERT_EQ(frames.times_us().size(), 4u);
  std::vector<int64_t> shown_us;
  KeyFrame frame;
  for (const size_t place : {3, 0, 2, 1}) {
    ASSERT_TRUE(frames.Read(place, &frame)) << place;
    shown_us.push_back(frame.time_us);
    const std::string bytes(frame.access_unit.begin(), frame.access_unit.end());
    constexpr char kSps[] = {0, 0, 0, 1, 0x67};
    constexpr char kPps[] = {0, 0, 0, 1, 0x68};
    EXPECT_NE(bytes.find(std::string(kSps, sizeof(kSps))), std::string::npos);
    EXPECT_NE(bytes.find(std::string(kPps, sizeof(kPps))), std::string::npos);
    EXPECT_EQ(frame.rotation, 0);
  }
  EXPECT_THAT(shown_us, ElementsAre(3000000, 0, 2000000, 1000000));
}

TEST_F(Mp4KeyFramesTest, SaysWhatItCannotUse) {
  EXPECT_EQ(Refusal(), path_ + ": No such file or directory");
  WriteFile(path_, "");
  EXPECT_THAT(Refusal(), HasSubstr(path_ + " is not an MP4 file: "));
  WriteFile(path_, std::string(5000, 'x'));
  EXPECT_THAT(Refusal(), HasSubstr(path_ + " is not an MP4 file: "));
  MakeMp4("-vn");
  EXPECT_EQ(Refusal(), path_ + " has no video");
  MakeMp4("-c:v mpeg4");
  EXPECT_THAT(Refusal(), HasSubstr(path_ + " has video that is not H.264"));
  std::remove(path_.c_str());
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_THAT(Refusal(), HasSubstr("not a regular file"));
}

void PutBigEndian(std::string* bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) (*bytes)[at + i] = static_cast<char>(value >> (24 - 8 * i));
}

TEST_F(Mp4KeyFramesTest, ASmallFileCannotAskForAHugeIndex) {
  constexpr uint32_t kSamples = 6000000;  // Of 24 bytes each in memory.
  MakeMp4();
  std::string bytes = ReadFile(path_);
  size_t tables = 0;
  for (size_t at = 0; (at = bytes.find("stsz", at)) != std::string::npos; at += 4, ++tables) {
    PutBigEndian(&bytes, at + 8, 7);  // The size of all samples.
    PutBigEndian(&bytes, at + 12, kSamples);
  }
  for (size_t at = 0; (at = bytes.find("stsc", at)) != std::string::npos; at += 4) {
    PutBigEndian(&bytes, at + 16, kSamples);  // In a chunk.
  }
  EXPECT_EQ(tables, 2u);
  WriteFile(path_, bytes);
  EXPECT_EQ(Refusal(), path_ + " has no picture");
}

TEST_F(Mp4KeyFramesTest, NoDamageOfTheFileDoesHarm) {
  MakeMp4();
  const std::string whole = ReadFile(path_);
  std::mt19937 random(1);
  const size_t index = whole.find("moov");
  ASSERT_NE(index, std::string::npos);
  for (int turn = 0; turn < 150; ++turn) {
    std::string damaged = whole;
    if (turn % 3 == 0) damaged.resize(random() % damaged.size());
    for (int i = 0; i < 8; ++i) {  // Mostly in the index.
      const size_t at = index + random() % (whole.size() - index);
      if (at < damaged.size()) damaged[at] = static_cast<char>(random() % 3 == 0 ? 0xFF : random());
    }
    WriteFile(path_, damaged);
    Mp4KeyFrames frames;
    std::string error;
    if (!frames.Open(path_, &error)) {
      EXPECT_THAT(error, HasSubstr(path_)) << turn;
      continue;
    }
    EXPECT_TRUE(std::is_sorted(frames.times_us().begin(), frames.times_us().end()));
    KeyFrame frame;
    for (size_t place = 0; place < frames.times_us().size() && place < 100; ++place) {
      (void)frames.Read(place, &frame);
    }
  }
}

}  // namespace
}  // namespace kxrtc_host
