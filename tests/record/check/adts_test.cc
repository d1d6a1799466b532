#include "record/check/adts.h"

#include <gmock/gmock.h>

#include <string>

#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

bool Parse(const std::string& frame, AdtsHeader* header) {
  const std::vector<uint8_t> bytes(frame.begin(), frame.end());
  return ParseAdtsHeader(bytes.data(), static_cast<uint32_t>(bytes.size()), header);
}

TEST(ParseAdtsHeaderTest, ReadsAFrameWithoutChecksum) {
  AdtsHeader header;
  ASSERT_TRUE(Parse(kx_testing::WithAdts("frame", 2), &header));
  EXPECT_EQ(header.header_size, 7u);
  EXPECT_EQ(header.object_type, 2u);
  EXPECT_EQ(header.sample_rate, 48000u);
  EXPECT_EQ(header.channel_configuration, 2u);
  EXPECT_EQ(header.raw_data_blocks, 1u);
}

TEST(AppendAdtsHeaderTest, WritesWhatTheReaderReads) {
  std::vector<uint8_t> frame = {9};
  AppendAdtsHeader(kAacLowComplexity, 48000, 2, 0x1234 - kAdtsHeaderSize, &frame);
  EXPECT_THAT(frame, ElementsAre(9, 0xFF, 0xF1, 0x4C, 0x82, 0x46, 0x9F, 0xFC));
  AdtsHeader header;
  ASSERT_TRUE(ReadAdtsHeader(frame.data() + 1, &header));
  EXPECT_EQ(header.frame_size, 0x1234u);
  frame.clear();
  AppendAdtsHeader(1, 7350, 8, 1, &frame);
  ASSERT_TRUE(ReadAdtsHeader(frame.data(), &header));
  EXPECT_EQ(header.object_type, 1u);
  EXPECT_EQ(header.sample_rate, 7350u);
  EXPECT_EQ(header.channel_configuration, 7u);
  EXPECT_EQ(header.frame_size, 8u);
}

TEST(ParseAdtsHeaderTest, AChecksumMakesTheHeaderLonger) {
  std::string frame = kx_testing::WithAdts("frame", 6);
  frame[1] = static_cast<char>(0xF0);
  AdtsHeader header;
  ASSERT_TRUE(Parse(frame, &header));
  EXPECT_EQ(header.header_size, 9u);
  EXPECT_EQ(header.channel_configuration, 6u);
}

struct NoAdtsCase {
  const char* name;
  size_t byte;
  uint8_t value;
};

class NoAdtsTest : public ::testing::TestWithParam<NoAdtsCase> {};

TEST_P(NoAdtsTest, IsNotTaken) {
  std::string frame = kx_testing::WithAdts("frame");
  frame[GetParam().byte] = static_cast<char>(GetParam().value);
  AdtsHeader header;
  header.sample_rate = 1;
  EXPECT_FALSE(Parse(frame, &header));
  EXPECT_EQ(header.sample_rate, 1u);
}

INSTANTIATE_TEST_SUITE_P(Cases, NoAdtsTest,
                         ::testing::Values(NoAdtsCase{"FirstSyncByte", 0, 0xFE},
                                           NoAdtsCase{"SecondSyncByte", 1, 0xE1},
                                           NoAdtsCase{"Layer", 1, 0xF3},
                                           NoAdtsCase{"FrequencyIndex13", 2, 0x40 | 13 << 2},
                                           NoAdtsCase{"AnotherLength", 4, 9}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(ParseAdtsHeaderTest, NeedsTheWholeHeader) {
  const std::string frame = kx_testing::WithAdts("");
  AdtsHeader header;
  for (size_t size = 0; size < frame.size(); ++size) {
    EXPECT_FALSE(Parse(frame.substr(0, size), &header)) << size;
  }
  EXPECT_TRUE(Parse(frame, &header));
}

TEST(AudioSpecificConfigTest, DescribesLowComplexityAt48Kilohertz) {
  EXPECT_THAT(AudioSpecificConfig(2, 48000, 1), ElementsAre(0x11, 0x88));
  EXPECT_THAT(AudioSpecificConfig(2, 48000, 2), ElementsAre(0x11, 0x90));
  EXPECT_THAT(AudioSpecificConfig(2, 48000, 8), ElementsAre(0x11, 0xB8));
}

TEST(AudioSpecificConfigTest, IsEmptyForWhatItCannotTell) {
  EXPECT_THAT(AudioSpecificConfig(2, 48000, 0), IsEmpty());
  EXPECT_THAT(AudioSpecificConfig(2, 48000, 7), IsEmpty());
  EXPECT_THAT(AudioSpecificConfig(2, 48000, 9), IsEmpty());
  EXPECT_THAT(AudioSpecificConfig(2, 48001, 2), IsEmpty());
}

TEST(ChannelCountTest, TellsWhichCountsAacCanHave) {
  for (const uint32_t count : {1, 2, 3, 4, 5, 6, 8}) EXPECT_TRUE(IsAacChannelCount(count)) << count;
  for (const uint32_t count : {0, 7, 9, 99}) EXPECT_FALSE(IsAacChannelCount(count)) << count;
}

TEST(ChannelCountTest, FollowsTheChannelConfiguration) {
  EXPECT_EQ(ChannelCount(0), 0u);
  EXPECT_EQ(ChannelCount(2), 2u);
  EXPECT_EQ(ChannelCount(7), 8u);
  EXPECT_EQ(ChannelCount(8), 0u);
}

TEST(AdtsTest, TellsWhatKeepsAudioOutOfAnMp4) {
  EXPECT_EQ(AudioObstacle(2, 48000, 1), "");
  EXPECT_EQ(AudioObstacle(2, 48000, 8), "");
  EXPECT_EQ(AudioObstacle(2, 44100, 2),
            "the audio has 44100 samples a second, but a record must have 48000");
  for (const uint32_t channels : {0, 7, 9}) {
    EXPECT_EQ(AudioObstacle(2, 48000, channels), "the audio has " + std::to_string(channels) +
                                                     " channels, which MP4 cannot represent");
  }
}

}  // namespace
}  // namespace kxrtc_host
