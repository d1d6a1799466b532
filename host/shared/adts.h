// Audio frames: ADTS framing (ISO/IEC 14496-3, 1.A.3.2) and the AudioSpecificConfig of MP4.
// Threads: any.
#ifndef HOST_SHARED_ADTS_H_
#define HOST_SHARED_ADTS_H_

#include <cstdint>
#include <vector>

namespace kxrtc_host {

inline constexpr uint32_t kAacLowComplexity = 2;  // The usual audio object type.
// A damaged frame may stand at the start; so many in a row that are no AAC are another kind of
// audio.
inline constexpr uint32_t kFramesToRecognise = 5;

inline constexpr uint32_t kAdtsHeaderSize = 7;  // Bytes, without a checksum.

struct AdtsHeader {
  uint32_t frame_size = 0;             // Bytes, header included.
  uint32_t header_size = 0;            // Bytes in front of the raw frame: 7, or 9 with a checksum.
  uint32_t object_type = 0;            // Audio object type; 2 is AAC LC.
  uint32_t sample_rate = 0;            // Hz.
  uint32_t channel_configuration = 0;  // 0: the frame itself tells.
  uint32_t raw_data_blocks = 0;        // In this frame.
};

// Reads the kAdtsHeaderSize bytes at `data`. False unless they begin with the sync word, layer 0
// and a valid frequency and tell a length that has room for them.
[[nodiscard]] bool ReadAdtsHeader(const uint8_t* data, AdtsHeader* header);

// Reads the header of one frame. False unless `data` begins with the sync word, layer 0 and a valid
// frequency and tells its own length as exactly `size`: no raw AAC frame looks so.
[[nodiscard]] bool ParseAdtsHeader(const uint8_t* data, uint32_t size, AdtsHeader* header);

// The two bytes that describe AAC in MP4; empty for what they cannot describe: a rate without an
// index, or a channel count that no channel configuration stands for.
std::vector<uint8_t> AudioSpecificConfig(uint32_t object_type, uint32_t sample_rate,
                                         uint32_t channel_count);

// Whether a channel configuration stands for so many channels: 1 to 6 and 8 (ISO/IEC 14496-3, table
// 1.19).
bool IsAacChannelCount(uint32_t channel_count);

// Channels that a channel configuration stands for; 0 for none.
uint32_t ChannelCount(uint32_t channel_configuration);

}  // namespace kxrtc_host

#endif  // HOST_SHARED_ADTS_H_
