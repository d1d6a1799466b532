#include "record/bundle/video_mask.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "tests/testing/masked_content.h"
#include "tests/testing/slice_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::Frame;
using ::kx_testing::Idr;
using ::kx_testing::Masked;
using ::kx_testing::Stream;
using ::kx_testing::TempDir;
using ::kx_testing::Write;

const std::string kStart("\0\0\1", 3);
const std::string kLongStart("\0\0\0\1", 4);

class VideoMaskTest : public testing::Test {
 protected:
  std::string MaskedVideo(const std::string& video, bool is_video = true) {
    kx_testing::WriteFile(path_, video);
    return MaskedFileContent(is_video);
  }

  std::string MaskedFileContent(bool is_video = true) {
    ReadOnlyFile file;
    EXPECT_EQ(file.Open(path_), ReadOnlyFile::State::kOpen);
    return kx_testing::MaskedContent(std::make_unique<VideoMask>(&file, is_video, nullptr),
                                     file.size(), 5000);
  }

  const TempDir dir_;
  const std::string path_ = dir_.File("video");
};

TEST_F(VideoMaskTest, KeepsParameterSetsAndSliceHeaders) {
  const Stream stream;
  const std::string data(40, 'd');
  const std::string key = Write(stream, Idr());
  const std::string delta = Write(stream, Frame(1, 2));
  const std::string masked = MaskedVideo(stream.Sets() + key + data + delta + data);
  // Behind the header come 32 bits of data, which begin in its last byte.
  const size_t hidden = 4 + data.size();
  EXPECT_EQ(masked, stream.Sets() + key.substr(0, key.size() - 4) + Masked(hidden) +
                        delta.substr(0, delta.size() - 4) + Masked(hidden));
}

TEST_F(VideoMaskTest, KeepsOfASliceWithoutParameterSetsItsFirstElements) {
  EXPECT_EQ(MaskedVideo(kStart + "\x41\x9Asecret"), kStart + "\x41\x9A" + Masked(6));
}

TEST_F(VideoMaskTest, HidesEveryOtherUnitAndWhatBelongsToNone) {
  EXPECT_EQ(MaskedVideo("secret" + kLongStart + "\x09\x10" + kStart + "\x0Csecret" + kStart +
                        "\x1Fsecret" + kStart + "\x06\x05\x06secret\x80"),
            Masked(6) + kLongStart + "\x09" + Masked(1) + kStart + "\x0C" + Masked(6) + kStart +
                "\x1F" + Masked(6) + kStart + "\x06\x05\x06" + Masked(6) + "\x80");
}

TEST_F(VideoMaskTest, KeepsZeroBytesInFrontOfAStartCodeAndAtTheEnd) {
  const std::string zeros(9000, '\0');
  const std::string secret = std::string("a\0\0b\0", 5) + std::string(3, 's');
  EXPECT_EQ(
      MaskedVideo(zeros + kStart + "\x09" + secret + zeros + kStart + "\x09" + secret + zeros),
      zeros + kStart + "\x09" + Masked(secret.size()) + zeros + kStart + "\x09" +
          Masked(secret.size()) + zeros);
}

TEST_F(VideoMaskTest, FindsStartCodesAcrossPiecesAndAtTheEnd) {
  for (size_t gap = 256 * 1024 - 8; gap < 256 * 1024 + 2; ++gap) {
    const std::string start = kStart + "\x09";
    ASSERT_EQ(MaskedVideo(std::string(gap, 's') + start + "ss" + start),
              Masked(gap) + start + Masked(2) + start)
        << gap;
  }
  EXPECT_EQ(MaskedVideo("ss" + kStart), Masked(2) + kStart);
  EXPECT_EQ(MaskedVideo(kStart), kStart);
  EXPECT_EQ(MaskedVideo("sss"), Masked(3));
  EXPECT_EQ(MaskedVideo(std::string(2, '\0')), std::string(2, '\0'));
}

// What stays of a stream of delimiters, found byte by byte.
std::string MaskedByteByByte(const std::string& video) {
  std::string masked = Masked(video.size());
  const auto keep_zeros_before = [&](size_t end) {
    while (end > 0 && video[end - 1] == 0) masked[--end] = 0;
  };
  for (size_t at = video.find(kStart); at != video.npos; at = video.find(kStart, at + 1)) {
    keep_zeros_before(at);
    masked.replace(at, 4, video.substr(at, 4));
  }
  keep_zeros_before(video.size());
  return masked;
}

TEST_F(VideoMaskTest, AgreesWithASearchByteByByte) {
  std::mt19937 random(5);
  for (int run = 0; run < 60; ++run) {
    std::string video;
    const size_t longest = size_t{1} << (random() % 19);
    while (video.size() < 700000 && video.size() < longest * 40) {
      const size_t length = random() % longest + 1;
      switch (random() % 3) {
        case 0:
          video += std::string(length, '\0');
          break;
        case 1:
          video += std::string(length, 's');
          break;
        default:
          video += kStart + "\x09";
      }
    }
    ASSERT_TRUE(MaskedVideo(video) == MaskedByteByByte(video)) << run;
  }
}

TEST_F(VideoMaskTest, HidesWhatIsTooLongForAParameterSet) {
  const std::string set = kStart + "\x67" + std::string(kMaxKeptSetBytes - 1, 'p');
  EXPECT_EQ(MaskedVideo(set), set);
  EXPECT_EQ(MaskedVideo(set + "secret"), set + Masked(6));
}

TEST_F(VideoMaskTest, KeepsOnlyHeadersWhereBytesLookLikeVideoByChance) {
  const Stream stream;
  const std::string sps = stream.Sets().substr(0, 4);
  EXPECT_EQ(MaskedVideo(sps + "secret" + kStart + "\x06\x05\x01s", false),
            sps + Masked(6) + kStart + "\x06" + Masked(3));
}

TEST_F(VideoMaskTest, PassesOverHoles) {
  const std::string unit = kStart + "\x09";
  kx_testing::WriteFile(path_, unit + "ss");
  std::filesystem::resize_file(path_, 8 << 20);
  kx_testing::AppendToFile(path_, unit + "ss");
  const std::string hole((8 << 20) - unit.size() - 2, '\0');
  EXPECT_TRUE(MaskedFileContent() == unit + Masked(2) + hole + unit + Masked(2));
}

TEST_F(VideoMaskTest, EndsWhenItIsNotWantedAnyMore) {
  kx_testing::WriteFile(path_, kStart + "\x09");
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(path_), ReadOnlyFile::State::kOpen);
  VideoMask mask(&file, true, [] { return false; });
  MaskStretch stretch;
  EXPECT_FALSE(mask.Next(&stretch));
}

}  // namespace
}  // namespace kxrtc_host
