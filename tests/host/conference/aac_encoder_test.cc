#include "host/conference/aac_encoder.h"

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/conference/audio_format.h"
#include "record/check/adts.h"

namespace kxrtc_host {
namespace {

using ::testing::SizeIs;

constexpr int kBlocks = 20;
constexpr int kLoudBlock = 10;

std::vector<float> Block(bool loud, int64_t first) {
  std::vector<float> block(kAudioBlockFloats);
  for (size_t i = 0; i < kAudioBlockSamples && loud; ++i) {
    const double time = static_cast<double>(first + static_cast<int64_t>(i)) / kAudioSampleRate;
    block[2 * i] = block[2 * i + 1] = static_cast<float>(0.5 * std::sin(2 * M_PI * 1000 * time));
  }
  return block;
}

// The left channel of `frames`, decoded by libavcodec.
std::vector<float> Decode(const std::vector<std::string>& frames) {
  const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
  const CodecContextHandle decoder(avcodec_alloc_context3(codec));
  const FrameHandle frame(av_frame_alloc());
  const PacketHandle packet(av_packet_alloc());
  EXPECT_GE(avcodec_open2(decoder.get(), codec, nullptr), 0);
  std::vector<float> samples;
  for (const std::string& bytes : frames) {
    EXPECT_GE(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
    bytes.copy(reinterpret_cast<char*>(packet->data), bytes.size());
    EXPECT_GE(avcodec_send_packet(decoder.get(), packet.get()), 0);
    av_packet_unref(packet.get());
    while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
      const auto* const left = reinterpret_cast<const float*>(frame->data[0]);
      samples.insert(samples.end(), left, left + frame->nb_samples);
    }
  }
  return samples;
}

struct Encoded {
  std::vector<std::string> frames;
  std::vector<int> made_by_block;  // The block during which each frame came out.
  int64_t lookahead = 0;
};

// Silence but for one loud block.
Encoded Encode() {
  Encoded encoded;
  AacEncoder encoder;
  std::string error;
  EXPECT_TRUE(encoder.Open(128000, &error)) << error;
  encoded.lookahead = encoder.lookahead_samples();
  for (int block = 0; block < kBlocks; ++block) {
    const std::vector<float> samples =
        Block(block == kLoudBlock, block * static_cast<int64_t>(kAudioBlockSamples));
    EXPECT_TRUE(encoder.Encode(samples.data(), [&](const uint8_t* data, size_t size) {
      encoded.frames.emplace_back(reinterpret_cast<const char*>(data), size);
      encoded.made_by_block.push_back(block);
    }));
  }
  return encoded;
}

TEST(AacEncoderTest, MakesOneAdtsFrameOfLowComplexityForEachBlock) {
  const Encoded encoded = Encode();
  ASSERT_THAT(encoded.frames, SizeIs(kBlocks - 1));
  for (const std::string& frame : encoded.frames) {
    AdtsHeader header;
    ASSERT_TRUE(ParseAdtsHeader(reinterpret_cast<const uint8_t*>(frame.data()),
                                static_cast<uint32_t>(frame.size()), &header));
    EXPECT_EQ(header.object_type, 2u);
    EXPECT_EQ(header.sample_rate, 48000u);
    EXPECT_EQ(header.channel_configuration, 2u);
    EXPECT_EQ(header.header_size, 7u);
  }
  EXPECT_THAT(Decode(encoded.frames), SizeIs((kBlocks - 1) * kAudioBlockSamples));
}

TEST(AacEncoderTest, TellsHowFarItIsBehind) {
  const Encoded encoded = Encode();
  const std::vector<float> samples = Decode(encoded.frames);
  size_t loudest = 0;
  double most = 0;
  for (size_t i = 0; i < encoded.frames.size(); ++i) {
    double energy = 0;
    for (size_t k = 0; k < kAudioBlockSamples; ++k) {
      const double sample = samples[i * kAudioBlockSamples + k];
      energy += sample * sample;
    }
    if (energy > most) loudest = i;
    most = std::max(most, energy);
  }
  // The frame that decodes to the loud block came out `lookahead` later than the block went in.
  EXPECT_EQ(
      (encoded.made_by_block[loudest] - kLoudBlock) * static_cast<int64_t>(kAudioBlockSamples),
      encoded.lookahead);
  EXPECT_EQ(encoded.lookahead, 2 * static_cast<int64_t>(kAudioBlockSamples));
}

}  // namespace
}  // namespace kxrtc_host
