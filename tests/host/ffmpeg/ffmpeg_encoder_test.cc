#include "host/ffmpeg/ffmpeg_encoder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/ffmpeg/ffmpeg_log.h"
#include "host/ffmpeg/parameter_set_probe.h"
#include "record/stream/annex_b.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

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

std::unique_ptr<H264Encoder> Open(const EncoderSettings& settings) {
  std::string obstacle;
  auto encoder = FFmpegEncoders().Open("libx264", settings, &obstacle);
  EXPECT_EQ(obstacle, "");
  EXPECT_EQ(encoder->name(), "libx264");
  return encoder;
}

// The stream of one picture, in which libx264 tells how it was set.
std::string Encode(const EncoderSettings& settings) {
  const auto encoder = Open(settings);
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
  EXPECT_GE(encoder->Send(picture.get()), 0);
  EXPECT_GE(encoder->Send(nullptr), 0);
  std::string stream;
  for (const PacketHandle packet(av_packet_alloc()); encoder->Receive(packet.get());) {
    stream.append(reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size));
  }
  return stream;
}

TEST(FFmpegEncoderTest, TakesTheBitRateAndThePreset) {
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

TEST(FFmpegEncoderTest, TakesAQualityInsteadOfTheBitRate) {
  EncoderSettings settings = Settings(24, 3000, "ultrafast");
  settings.quality = 31;
  const std::string stream = Encode(settings);
  EXPECT_THAT(stream, HasSubstr(" rc=crf "));
  EXPECT_THAT(stream, HasSubstr(" crf=31.0 "));
  EXPECT_THAT(stream, Not(HasSubstr(" bitrate=")));
}

TEST(FFmpegEncoderTest, ABufferOfAnyBitRateIsInRange) {
  EXPECT_THAT(Encode(Settings(24, 1000000, "ultrafast")), HasSubstr(" vbv_bufsize=2000000 "));
}

TEST(FFmpegEncoderTest, TheParameterSetsTellTheSize) {
  const std::vector<uint8_t> sets = Open(Settings(24, 300, "ultrafast"))->parameter_sets();
  std::vector<NalUnit> units;
  SplitAccessUnit(sets.data(), static_cast<uint32_t>(sets.size()), &units);
  ASSERT_FALSE(units.empty());
  const auto sps = ReadSequenceParameters(units[0]);
  ASSERT_TRUE(sps);
  EXPECT_EQ(sps->size.width, 64u);
  EXPECT_EQ(sps->size.height, 32u);
}

TEST(FFmpegEncoderTest, TellsWhyAnEncoderDoesNotWorkAndTakesTheNext) {
  std::vector<std::string> obstacles;
  EXPECT_NE(OpenFirstEncoder(FFmpegEncoders(), {"none", "aac", "libx264"},
                             Settings(24, 300, "ultrafast"), &obstacles),
            nullptr);
  EXPECT_THAT(obstacles, ElementsAre("this FFmpeg has no H.264 encoder none",
                                     "this FFmpeg has no H.264 encoder aac"));
  obstacles.clear();
  EXPECT_EQ(
      OpenFirstEncoder(FFmpegEncoders(), {"libx264"}, Settings(24, 300, "no preset"), &obstacles),
      nullptr);
  EXPECT_THAT(obstacles, ElementsAre(StartsWith("libx264 does not start: ")));
}

TEST(FFmpegEncoderTest, TellsTheCauseInFFmpegsWordsWithoutAddresses) {
  SendFFmpegLogToLibraryLog();
  std::string obstacle;
  EXPECT_EQ(FFmpegEncoders().Open("libx264", Settings(24, 300, "no preset"), &obstacle), nullptr);
  EXPECT_EQ(obstacle, "libx264 does not start: Error setting preset/tune no preset/(null)");
}

TEST(FFmpegEncoderTest, AnEncoderWithoutConstantQualityIsTold) {
  EncoderSettings settings = Settings(24, 300, "ultrafast");
  settings.quality = 20;
  std::string obstacle;
  EXPECT_EQ(FFmpegEncoders().Open("h264_v4l2m2m", settings, &obstacle), nullptr);
  EXPECT_EQ(obstacle, "h264_v4l2m2m has no constant quality; choose a bit rate instead");
}

// What writes its parameter sets into the stream only, as encoders of small machines do.
TEST(FFmpegEncoderTest, ParameterSetsAreFoundInTheStream) {
  class InBand final : public H264Encoder {
   public:
    InBand() {
      const AVCodec* const codec = avcodec_find_encoder_by_name("libx264");
      context_.reset(avcodec_alloc_context3(codec));
      context_->width = 64;
      context_->height = 32;
      context_->pix_fmt = AV_PIX_FMT_YUV420P;
      context_->time_base = {1, 24};
      EXPECT_GE(avcodec_open2(context_.get(), codec, nullptr), 0);
      EXPECT_EQ(context_->extradata_size, 0);
    }
    int Send(const AVFrame* picture) override {
      return avcodec_send_frame(context_.get(), picture);
    }
    bool Receive(AVPacket* packet) override {
      return avcodec_receive_packet(context_.get(), packet) >= 0;
    }
    std::string name() const override { return "in band"; }
    std::vector<uint8_t> parameter_sets() const override { return {}; }

   private:
    CodecContextHandle context_;
  };
  InBand encoder;
  const std::vector<uint8_t> sets = ProbeParameterSets(&encoder, Settings(24, 300, "ultrafast"));
  std::vector<NalUnit> units;
  SplitAccessUnit(sets.data(), static_cast<uint32_t>(sets.size()), &units);
  ASSERT_EQ(units.size(), 2u);
  EXPECT_EQ(ReadSequenceParameters(units[0])->size.width, 64u);
  EXPECT_EQ(units[1].type(), kxrtc::H264::kNaluTypePps);
  const auto ordinary = Open(Settings(24, 300, "ultrafast"));
  EXPECT_THAT(ProbeParameterSets(ordinary.get(), Settings(24, 300, "ultrafast")), IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
