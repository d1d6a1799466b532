#include "record/check/adts.h"

#include <algorithm>
#include <iterator>

#include "record/index/record_text.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

constexpr uint32_t kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                     22050, 16000, 12000, 11025, 8000,  7350};
// By channel configuration.
constexpr uint32_t kChannelCounts[] = {0, 1, 2, 3, 4, 5, 6, 8};
constexpr uint32_t kHeaderSizeWithChecksum = 9;

}  // namespace

bool ReadAdtsHeader(const uint8_t* data, AdtsHeader* header) {
  if (data[0] != 0xFF || (data[1] & 0xF6) != 0xF0) return false;
  const uint32_t rate_index = data[2] >> 2 & 0xF;
  if (rate_index >= std::size(kSampleRates)) return false;
  AdtsHeader read;
  read.frame_size =
      static_cast<uint32_t>(data[3] & 3) << 11 | static_cast<uint32_t>(data[4]) << 3 | data[5] >> 5;
  read.header_size = (data[1] & 1) != 0 ? kAdtsHeaderSize : kHeaderSizeWithChecksum;
  read.object_type = (data[2] >> 6) + 1u;
  read.sample_rate = kSampleRates[rate_index];
  read.channel_configuration = (data[2] & 1u) << 2 | data[3] >> 6;
  read.raw_data_blocks = (data[6] & 3u) + 1;
  if (read.header_size > read.frame_size) return false;
  *header = read;
  return true;
}

bool ParseAdtsHeader(const uint8_t* data, uint32_t size, AdtsHeader* header) {
  AdtsHeader read;
  if (size < kAdtsHeaderSize || !ReadAdtsHeader(data, &read) || read.frame_size != size) {
    return false;
  }
  *header = read;
  return true;
}

std::optional<uint32_t> HeaderSizeOfAlike(const AudioFraming& framing, const uint8_t* data,
                                          uint32_t size) {
  AdtsHeader header;
  const bool is_adts = ParseAdtsHeader(data, size, &header);
  if (is_adts != framing.is_adts) return std::nullopt;
  if (!is_adts) return 0;
  const bool is_alike = header.raw_data_blocks == 1 && header.sample_rate == kAudioSampleRate &&
                        ChannelCount(header.channel_configuration) == framing.channels &&
                        header.header_size < size;
  return is_alike ? std::optional(header.header_size) : std::nullopt;
}

void AppendAdtsHeader(uint32_t object_type, uint32_t sample_rate, uint32_t channel_count,
                      size_t payload_size, std::vector<uint8_t>* out) {
  const std::vector<uint8_t> config = AudioSpecificConfig(object_type, sample_rate, channel_count);
  const uint32_t rate_index = (config[0] & 7u) << 1 | config[1] >> 7;
  const uint32_t configuration = config[1] >> 3 & 0xFu;
  const auto size = static_cast<uint32_t>(payload_size + kAdtsHeaderSize);
  const uint32_t bytes[kAdtsHeaderSize] = {
      0xFF,
      0xF1,
      (object_type - 1) << 6 | rate_index << 2 | configuration >> 2,
      (configuration & 3) << 6 | size >> 11,
      size >> 3 & 0xFF,
      (size & 7) << 5 | 0x1F,  // A buffer fullness of all ones: variable bit rate.
      0xFC,
  };
  for (const uint32_t byte : bytes) out->push_back(static_cast<uint8_t>(byte));
}

std::vector<uint8_t> AudioSpecificConfig(uint32_t object_type, uint32_t sample_rate,
                                         uint32_t channel_count) {
  const auto* rate = std::find(std::begin(kSampleRates), std::end(kSampleRates), sample_rate);
  const auto* count =
      std::find(std::begin(kChannelCounts) + 1, std::end(kChannelCounts), channel_count);
  if (rate == std::end(kSampleRates) || count == std::end(kChannelCounts)) return {};
  const auto rate_index = static_cast<uint32_t>(rate - std::begin(kSampleRates));
  const auto configuration = static_cast<uint32_t>(count - std::begin(kChannelCounts));
  const uint32_t bits = object_type << 11 | rate_index << 7 | configuration << 3;
  return {static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits)};
}

std::string AudioObstacle(uint32_t object_type, uint32_t sample_rate, uint32_t channel_count) {
  if (sample_rate != kAudioSampleRate) {
    return "the audio has " + CountText(sample_rate, "sample") +
           " a second, but a record must have " + std::to_string(kAudioSampleRate);
  }
  if (AudioSpecificConfig(object_type, sample_rate, channel_count).empty()) {
    return "the audio has " + CountText(channel_count, "channel") + ", which MP4 cannot represent";
  }
  return "";
}

bool IsAacChannelCount(uint32_t channel_count) {
  return !AudioSpecificConfig(kAacLowComplexity, kSampleRates[0], channel_count).empty();
}

uint32_t ChannelCount(uint32_t channel_configuration) {
  return channel_configuration < std::size(kChannelCounts) ? kChannelCounts[channel_configuration]
                                                           : 0;
}

}  // namespace kxrtc_host
