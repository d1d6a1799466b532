#include "host/ffmpeg/aac_examiner.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "host/ffmpeg/ffmpeg_log.h"
#include "record/check/adts.h"
#include "record/check/silent_aac.h"
#include "tests/testing/real_media.h"

namespace kxrtc_host {
namespace {

bool Decodes(AacExaminer& examiner, const std::string& frame) {
  return examiner.Decodes(reinterpret_cast<const uint8_t*>(frame.data()),
                          static_cast<uint32_t>(frame.size()));
}

std::string Silence(uint32_t channels) {
  const std::vector<uint8_t> bytes = SilentAacFrame(channels);
  return std::string(bytes.begin(), bytes.end());
}

class AacExaminerTest : public ::testing::TestWithParam<int> {
 protected:
  static void SetUpTestSuite() { SendFFmpegLogToLibraryLog(); }
};

TEST_P(AacExaminerTest, FindsNoFaultInHealthySound) {
  const auto channels = static_cast<uint32_t>(GetParam());
  AacExaminer examiner;
  ASSERT_TRUE(examiner.Begin(kAacLowComplexity, channels));
  for (const std::string& frame : kx_testing::MakeAudio(300, GetParam(), false)) {
    EXPECT_TRUE(Decodes(examiner, frame));
    EXPECT_TRUE(Decodes(examiner, Silence(channels)));
  }
}

// Three channels are missing: ffmpeg's encoder has them in another order.
INSTANTIATE_TEST_SUITE_P(ChannelCounts, AacExaminerTest, ::testing::Values(1, 2, 4, 5, 6, 8));

TEST_F(AacExaminerTest, KnowsSilenceOfEachObjectType) {
  for (const uint32_t object_type : {1u, 2u, 3u, 4u}) {
    for (const uint32_t channels : {1u, 2u, 3u, 4u, 5u, 6u, 8u}) {
      AacExaminer examiner;
      ASSERT_TRUE(examiner.Begin(object_type, channels)) << object_type << " " << channels;
      EXPECT_TRUE(Decodes(examiner, Silence(channels)));
    }
  }
  AacExaminer examiner;
  EXPECT_FALSE(examiner.Begin(kAacLowComplexity, 7));
}

TEST_F(AacExaminerTest, KnowsSilenceOfEachLengthAndMissesItsEnd) {
  for (const uint32_t channels : {1u, 2u, 6u}) {
    AacExaminer examiner;
    ASSERT_TRUE(examiner.Begin(kAacLowComplexity, channels));
    const auto shortest = static_cast<uint32_t>(SilentAacFrame(channels).size());
    for (uint32_t size = shortest; size < 600; ++size) {
      const std::vector<uint8_t> frame = SilentAacFrame(channels, size);
      ASSERT_TRUE(examiner.Decodes(frame.data(), size)) << channels << " " << size;
      if (size % 50 != 0) continue;
      EXPECT_FALSE(examiner.Decodes(frame.data(), size - 2)) << channels << " " << size;
    }
    const std::vector<uint8_t> longest = SilentAacFrame(channels, kMaxAacFrameSize);
    EXPECT_TRUE(examiner.Decodes(longest.data(), kMaxAacFrameSize));
  }
}

struct DamagedCase {
  const char* name;
  std::string frame;
};

class DamagedSoundTest : public ::testing::TestWithParam<DamagedCase> {};

TEST_P(DamagedSoundTest, IsFoundAndTheNextFrameIsNotBlamed) {
  AacExaminer examiner;
  ASSERT_TRUE(examiner.Begin(kAacLowComplexity, 2));
  EXPECT_FALSE(Decodes(examiner, GetParam().frame));
  for (const std::string& frame : kx_testing::MakeAudio(20, 2, false)) {
    EXPECT_TRUE(Decodes(examiner, frame));
    EXPECT_FALSE(Decodes(examiner, GetParam().frame));
  }
}

std::string WithoutEnd() {
  std::string frame = kx_testing::MakeAudio(20, 2, false)[10];
  return frame.substr(0, frame.size() / 2);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DamagedSoundTest,
    ::testing::Values(DamagedCase{"Empty", ""}, DamagedCase{"FiveAndOneChannels", Silence(6)},
                      DamagedCase{"TwoFrames", Silence(2) + Silence(2)},
                      DamagedCase{"OneBitMissing", std::string("\x21\0\0\0\0\x18", 6)},
                      DamagedCase{"HalfAFrame", WithoutEnd()},
                      DamagedCase{"Zeros", std::string(300, '\0')},
                      DamagedCase{"Ones", std::string(300, '\xFF')},
                      DamagedCase{"EndOnly", std::string("\xE0")},
                      DamagedCase{"EndsOnly", std::string(300, '\xE0')},
                      DamagedCase{"TooLarge", Silence(2) + std::string(kMaxAacFrameSize, '\0')}),
    [](const auto& param) { return std::string(param.param.name); });

// Frames of any bytes give the same answer, whatever came before.
TEST(AacExaminerStateTest, NoFrameLeavesATrace) {
  SendFFmpegLogToLibraryLog();
  std::mt19937 random(7);
  std::vector<std::string> frames = kx_testing::MakeAudio(40, 2, false);
  for (size_t i = 0; i < 400; ++i) {
    std::string frame = frames[i % 40];
    frame[random() % frame.size()] ^= static_cast<char>(1u << random() % 8);
    frames.push_back(frame);
  }
  AacExaminer one;
  ASSERT_TRUE(one.Begin(kAacLowComplexity, 2));
  ASSERT_TRUE(Decodes(one, frames[0]));
  int damaged = 0;
  for (const std::string& frame : frames) {
    AacExaminer fresh;
    ASSERT_TRUE(fresh.Begin(kAacLowComplexity, 2));
    ASSERT_TRUE(Decodes(fresh, frames[0]));
    const bool decodes = Decodes(one, frame);
    EXPECT_EQ(Decodes(fresh, frame), decodes);
    damaged += decodes ? 0 : 1;
  }
  EXPECT_GT(damaged, 100);
}

}  // namespace
}  // namespace kxrtc_host
