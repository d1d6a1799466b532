#include "host/conference/audio_decoder.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "host/conference/audio_format.h"

namespace kxrtc_host {
namespace {

using ::testing::HasSubstr;

// A decoder of uncompressed sound, with all that it gave.
class PcmDecoder {
 public:
  PcmDecoder(AVCodecID codec, int rate, int channels) {
    const FormatInputHandle container(avformat_alloc_context());
    AVStream* const stream = avformat_new_stream(container.get(), nullptr);
    stream->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    stream->codecpar->codec_id = codec;
    stream->codecpar->sample_rate = rate;
    av_channel_layout_default(&stream->codecpar->ch_layout, channels);
    std::string error;
    EXPECT_TRUE(decoder_.Open(*stream, &error)) << error;
  }

  bool Decode(const std::string& bytes, int64_t time_us) {
    const PacketHandle packet(av_packet_alloc());
    EXPECT_GE(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
    bytes.copy(reinterpret_cast<char*>(packet->data), bytes.size());
    packet->pts = packet->dts = time_us;
    return decoder_.Decode(*packet, [this](int64_t at_us, const float* samples, size_t count) {
      times_us.push_back(at_us);
      counts.push_back(count);
      left.resize(left.size() + count);
      for (size_t i = 0; i < count; ++i) left[left.size() - count + i] = samples[2 * i];
      right = samples[2 * count - 1];
    });
  }

  std::vector<int64_t> times_us;
  std::vector<size_t> counts;
  std::vector<float> left;
  float right = 0;  // The last sample.

 private:
  AudioDecoder decoder_;
};

// 16-bit samples of one channel, a tone of 300 Hz from the sample `first` on.
std::string Tone(int rate, int first, int samples) {
  std::string bytes;
  for (int i = first; i < first + samples; ++i) {
    const auto value = static_cast<int16_t>(16384 * std::sin(2 * M_PI * 300 * i / rate));
    bytes += static_cast<char>(value & 0xFF);
    bytes += static_cast<char>(value >> 8);
  }
  return bytes;
}

TEST(AudioDecoderTest, GivesStereoAt48Kilohertz) {
  PcmDecoder decoder(AV_CODEC_ID_PCM_S16LE, kAudioSampleRate, 2);
  EXPECT_TRUE(decoder.Decode(std::string("\0\x40\0\xC0\0\x20\0\xE0", 8), 70000));
  EXPECT_THAT(decoder.times_us, testing::ElementsAre(70000));
  EXPECT_THAT(decoder.left, testing::ElementsAre(0.5f, 0.25f));
  EXPECT_EQ(decoder.right, -0.25f);
}

// One resampler goes through all packets: no sample is lost or made between them.
TEST(AudioDecoderTest, ResamplesThroughTheEndsOfPackets) {
  constexpr int kRate = 44100;
  constexpr int kPacket = 441;  // 10 ms.
  PcmDecoder decoder(AV_CODEC_ID_PCM_S16LE, kRate, 1);
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(decoder.Decode(Tone(kRate, i * kPacket, kPacket), i * 10000));
  }
  EXPECT_NEAR(static_cast<double>(decoder.left.size()), kAudioSampleRate, 48);
  int64_t next_us = 0;
  for (size_t i = 0; i < decoder.counts.size(); ++i) {
    ASSERT_NEAR(static_cast<double>(decoder.times_us[i]), static_cast<double>(next_us), 50) << i;
    next_us = decoder.times_us[i] + TimeOfSample(static_cast<int64_t>(decoder.counts[i]));
  }
  // Each sample of a tone follows from the two before it.
  const double turn = 2 * std::cos(2 * M_PI * 300 / kAudioSampleRate);
  for (size_t i = 100; i < decoder.left.size(); ++i) {
    ASSERT_NEAR(decoder.left[i], turn * decoder.left[i - 1] - decoder.left[i - 2], 0.001) << i;
  }
}

TEST(AudioDecoderTest, APacketWithoutATimeFollowsTheOneBefore) {
  PcmDecoder decoder(AV_CODEC_ID_PCM_S16LE, kAudioSampleRate, 1);
  EXPECT_TRUE(decoder.Decode(Tone(kAudioSampleRate, 0, 480), 50000));
  EXPECT_TRUE(decoder.Decode(Tone(kAudioSampleRate, 480, 960), AV_NOPTS_VALUE));
  EXPECT_TRUE(decoder.Decode(Tone(kAudioSampleRate, 1440, 480), AV_NOPTS_VALUE));
  EXPECT_THAT(decoder.times_us, testing::ElementsAre(50000, 60000, 80000));
}

struct SizeCase {
  const char* name;
  size_t samples;
  bool is_whole;
};

// A decoder that claims minutes of sound for one packet is not believed.
TEST(AudioDecoderTest, APacketHasAtMostAMillionSamples) {
  for (const SizeCase& test :
       {SizeCase{"most", 1 << 20, true}, SizeCase{"too many", (1 << 20) + 1, false}}) {
    PcmDecoder decoder(AV_CODEC_ID_PCM_U8, kAudioSampleRate, 1);
    EXPECT_EQ(decoder.Decode(std::string(test.samples, '\x80'), 0), test.is_whole) << test.name;
    EXPECT_EQ(decoder.left.size(), test.is_whole ? test.samples : 0) << test.name;
    EXPECT_TRUE(decoder.Decode(std::string(100, '\x80'), 0)) << test.name;
  }
}

TEST(AudioDecoderTest, TellsWhyItCannotDecode) {
  const FormatInputHandle container(avformat_alloc_context());
  AVStream* const stream = avformat_new_stream(container.get(), nullptr);
  stream->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
  AudioDecoder decoder;
  std::string error;
  EXPECT_FALSE(decoder.Open(*stream, &error));
  EXPECT_EQ(error, "there is no decoder for none sound");
  stream->codecpar->codec_id = AV_CODEC_ID_PCM_S16LE;
  EXPECT_FALSE(decoder.Open(*stream, &error));  // Without channels.
  EXPECT_THAT(error, HasSubstr("the sound cannot be decoded: "));
}

}  // namespace
}  // namespace kxrtc_host
