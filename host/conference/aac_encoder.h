// Encodes the mix as AAC-LC, one ADTS frame (ISO/IEC 14496-3) for each block of 1024 samples.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_AAC_ENCODER_H_
#define HOST_CONFERENCE_AAC_ENCODER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

class AacEncoder {
 public:
  using FrameHandler = std::function<void(const uint8_t* data, size_t size)>;

  AacEncoder() = default;
  ~AacEncoder();
  AacEncoder(const AacEncoder&) = delete;
  AacEncoder& operator=(const AacEncoder&) = delete;

  // Call once. On false `*error` says why; the object cannot be used.
  [[nodiscard]] bool Open(int bit_rate, std::string* error);

  // Encodes one block of kAudioBlockFloats values and passes on the frames that are complete; their
  // bytes are valid during the call only. False: the encoder failed.
  [[nodiscard]] bool Encode(const float* block, const FrameHandler& handler);

  // The delay of the encoder: the frame that comes out when a block goes in contains the sound so
  // many samples before that block.
  int64_t lookahead_samples() const;

 private:
  CodecContextHandle encoder_;
  FrameHandle frame_;
  PacketHandle packet_;
  std::vector<uint8_t> framed_;  // The ADTS header and the frame.
  int64_t next_pts_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_AAC_ENCODER_H_
