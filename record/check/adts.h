// Audio frames: ADTS framing (ISO/IEC 14496-3, 1.A.3.2) and the AudioSpecificConfig of MP4.
// Threads: any.
#ifndef RECORD_CHECK_ADTS_H_
#define RECORD_CHECK_ADTS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kxrtc_host {

inline constexpr uint32_t kAacLowComplexity = 2;  // The usual audio object type.
// The first frames may be damaged, but so many in a row that are not AAC mean another kind of
// audio.
inline constexpr uint32_t kFramesToRecognise = 5;

inline constexpr uint32_t kAdtsHeaderSize = 7;      // Bytes, without a checksum.
inline constexpr uint32_t kMaxAacFrameSize = 8191;  // Bytes, as much as an ADTS header can tell.

struct AdtsHeader {
  uint32_t frame_size = 0;             // Bytes, header included.
  uint32_t header_size = 0;            // Bytes in front of the raw frame: 7, or 9 with a checksum.
  uint32_t object_type = 0;            // Audio object type; 2 is AAC LC.
  uint32_t sample_rate = 0;            // Hz.
  uint32_t channel_configuration = 0;  // 0: defined inside the frame.
  uint32_t raw_data_blocks = 0;        // In this frame.
};

// Reads the kAdtsHeaderSize bytes at `data`. False unless they begin with the sync word, layer 0
// and a valid frequency and give a length that includes them.
[[nodiscard]] bool ReadAdtsHeader(const uint8_t* data, AdtsHeader* header);

// Reads the header of one frame. False unless `data` begins with the sync word, layer 0 and a valid
// frequency and gives exactly `size` as its length. A raw AAC frame never looks like that.
[[nodiscard]] bool ParseAdtsHeader(const uint8_t* data, uint32_t size, AdtsHeader* header);

// What the frames of one record have in common.
struct AudioFraming {
  bool is_adts = false;
  uint32_t channels = 0;  // By the ADTS header; 0 if it does not tell.
};

// The bytes in front of the raw frame, or none if the frame is not like the others: an MP4 file
// does not contain it.
std::optional<uint32_t> HeaderSizeOfAlike(const AudioFraming& framing, const uint8_t* data,
                                          uint32_t size);

// Appends the header of a frame with one raw data block of `payload_size` bytes: MPEG-4, without a
// checksum, of a variable bit rate. The others must be values that AudioSpecificConfig() can
// describe, and the length of the frame must fit 13 bits.
void AppendAdtsHeader(uint32_t object_type, uint32_t sample_rate, uint32_t channel_count,
                      size_t payload_size, std::vector<uint8_t>* out);

// The two bytes that describe AAC in MP4; empty for a rate without an index or a
// channel count without a channel configuration.
std::vector<uint8_t> AudioSpecificConfig(uint32_t object_type, uint32_t sample_rate,
                                         uint32_t channel_count);

// Why this audio cannot be copied into an MP4, as text for the user; empty if it can.
std::string AudioObstacle(uint32_t object_type, uint32_t sample_rate, uint32_t channel_count);

// The obstacle of sound that is raw and not AAC.
inline constexpr char kNotAacText[] = "the audio is not AAC with 48000 samples a second";

// True for the channel counts that AAC can have: 1 to 6 and 8 (ISO/IEC 14496-3, table 1.19).
bool IsAacChannelCount(uint32_t channel_count);

// The channel count of a channel configuration; 0 for an unknown one.
uint32_t ChannelCount(uint32_t channel_configuration);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_ADTS_H_
