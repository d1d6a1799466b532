// Decodes any sound that libavcodec knows to the format of the conference (audio_format.h).
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_AUDIO_DECODER_H_
#define HOST_CONFERENCE_AUDIO_DECODER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/ffmpeg/ffmpeg_input_handles.h"

namespace kxrtc_host {

class AudioDecoder {
 public:
  // A run of `samples` samples a channel, interleaved, that begins at `time_us`; valid during the
  // call only.
  using Handler = std::function<void(int64_t time_us, const float* interleaved, size_t samples)>;

  // On false `*error` says why.
  [[nodiscard]] bool Open(const AVStream& stream, std::string* error);

  // Decodes `packet`, whose times are microseconds. False: it is damaged. The
  // decoded part was passed on, and decoding can continue with the next packet.
  [[nodiscard]] bool Decode(const AVPacket& packet, const Handler& handler);

 private:
  bool Resample(const AVFrame& frame, const Handler& handler);
  bool FollowFormat(const AVFrame& frame);

  CodecContextHandle decoder_;
  FrameHandle frame_;
  ResamplerHandle resampler_;
  int in_format_ = -1;  // Of the frames that `resampler_` was made for.
  int in_rate_ = 0;
  int in_channels_ = 0;
  int64_t next_time_us_ = 0;  // The time for a frame without a time.
  std::vector<float> samples_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_AUDIO_DECODER_H_
