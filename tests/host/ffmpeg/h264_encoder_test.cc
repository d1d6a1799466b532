#include "host/ffmpeg/h264_encoder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "record/stream/annex_b.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

EncoderSettings Settings(uint32_t frame_rate, uint32_t bit_rate_kbps, const char* preset) {
  EncoderSettings settings;
  settings.width = 64;
  settings.height = 32;
  settings.frame_rate = frame_rate;
  settings.bit_rate_kbps = bit_rate_kbps;
  settings.preset = preset;
  settings.threads = 1;
  return settings;
}

void Open(const EncoderSettings& settings, H264Encoder* encoder) {
  std::vector<std::string> obstacles;
  EXPECT_TRUE(encoder->Open({"libx264"}, settings, &obstacles));
  EXPECT_THAT(obstacles, IsEmpty());
  EXPECT_EQ(encoder->name(), "libx264");
}

// The stream of one picture, in which libx264 tells how it was set.
std::string Encode(const EncoderSettings& settings) {
  H264Encoder encoder;
  Open(settings, &encoder);
  const FrameHandle picture(av_frame_alloc());
  picture->width = static_cast<int>(settings.width);
  picture->height = static_cast<int>(settings.height);
  picture->format = AV_PIX_FMT_YUV420P;
  EXPECT_GE(av_frame_get_buffer(picture.get(), 0), 0);
  for (int plane = 0; plane < 3; ++plane) {
    std::fill_n(picture->data[plane], picture->linesize[plane] * (plane == 0 ? 32 : 16),
                uint8_t{128});
  }
  picture->pts = 0;
  EXPECT_GE(encoder.Send(picture.get()), 0);
  EXPECT_GE(encoder.Send(nullptr), 0);
  std::string stream;
  for (const PacketHandle packet(av_packet_alloc()); encoder.Receive(packet.get());) {
    stream.append(reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size));
  }
  return stream;
}

TEST(H264EncoderTest, TakesTheBitRateAndThePreset) {
  const std::string fast = Encode(Settings(24, 3000, "ultrafast"));
  EXPECT_THAT(fast, HasSubstr(" bitrate=3000 "));
  EXPECT_THAT(fast, HasSubstr(" vbv_maxrate=6000 vbv_bufsize=12000 "));
  EXPECT_THAT(fast, HasSubstr(" keyint=96 "));
  EXPECT_THAT(fast, HasSubstr(" subme=0 "));
  EXPECT_THAT(fast, HasSubstr(" threads=1 "));
  const std::string slow = Encode(Settings(10, 5000, "slow"));
  EXPECT_THAT(slow, HasSubstr(" bitrate=5000 "));
  EXPECT_THAT(slow, HasSubstr(" keyint=40 "));
  EXPECT_THAT(slow, HasSubstr(" subme=8 "));
}

TEST(H264EncoderTest, TakesAQualityInsteadOfTheBitRate) {
  EncoderSettings settings = Settings(24, 3000, "ultrafast");
  settings.quality = 31;
  const std::string stream = Encode(settings);
  EXPECT_THAT(stream, HasSubstr(" rc=crf "));
  EXPECT_THAT(stream, HasSubstr(" crf=31.0 "));
  EXPECT_THAT(stream, Not(HasSubstr(" bitrate=")));
}

TEST(H264EncoderTest, ABufferOfAnyBitRateIsInRange) {
  EXPECT_THAT(Encode(Settings(24, 1000000, "ultrafast")), HasSubstr(" vbv_bufsize=2000000 "));
}

TEST(H264EncoderTest, TheParameterSetsTellTheSize) {
  H264Encoder encoder;
  Open(Settings(24, 300, "ultrafast"), &encoder);
  std::vector<NalUnit> units;
  SplitAccessUnit(encoder.extradata(), encoder.extradata_size(), &units);
  ASSERT_FALSE(units.empty());
  const auto sps = ReadSequenceParameters(units[0]);
  ASSERT_TRUE(sps);
  EXPECT_EQ(sps->size.width, 64u);
  EXPECT_EQ(sps->size.height, 32u);
}

TEST(H264EncoderTest, TellsWhyAnEncoderDoesNotWorkAndTakesTheNext) {
  H264Encoder encoder;
  std::vector<std::string> obstacles;
  EXPECT_TRUE(encoder.Open({"none", "aac", "libx264"}, Settings(24, 300, "ultrafast"), &obstacles));
  EXPECT_THAT(obstacles, ElementsAre("this FFmpeg has no H.264 encoder none",
                                     "this FFmpeg has no H.264 encoder aac"));
  obstacles.clear();
  H264Encoder refused;
  EXPECT_FALSE(refused.Open({"libx264"}, Settings(24, 300, "no preset"), &obstacles));
  EXPECT_THAT(obstacles, ElementsAre(HasSubstr("libx264 does not start: ")));
  EXPECT_EQ(refused.name(), "");
}

}  // namespace
}  // namespace kxrtc_host
