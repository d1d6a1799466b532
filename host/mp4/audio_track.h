// The audio of the record, copied: AAC frames with or without ADTS framing.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_MP4_AUDIO_TRACK_H_
#define HOST_MP4_AUDIO_TRACK_H_

#include <cstdint>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "host/mp4/mp4_muxer.h"
#include "host/mp4/writer_report.h"
#include "record/check/adts.h"

namespace kxrtc_host {

class AudioTrack {
 public:
  // `channel_count` describes raw frames; an ADTS header overrides it. Both pointers outlive this.
  AudioTrack(uint32_t channel_count, Mp4Muxer* muxer, WriterReport* report);

  // Writes one frame at `timestamp_us` of output time, rebased. The first frame that has an ADTS
  // header, or decodes without one, decides the framing of all; earlier frames and frames with a
  // different framing are dropped and counted. False: the report says why.
  [[nodiscard]] bool Push(int64_t timestamp_us, const uint8_t* data, uint32_t size);

  // Adds warnings for the user to the report.
  void Finish();

  // The current end of the audio, microseconds of the file; 0 without audio.
  int64_t end_us() const;

 private:
  enum class Framing { kUnknown, kRaw, kAdts };

  bool BeginAdts(const AdtsHeader& header);
  void BeginRaw();
  bool Describe(uint32_t object_type, uint32_t sample_rate, uint32_t channel_count);
  bool Recognise(const uint8_t* data, uint32_t size);
  bool Drop();
  bool Write(int64_t timestamp_us, const uint8_t* data, uint32_t size);
  bool LooksLikeAac(const uint8_t* data, uint32_t size);

  Mp4Muxer* const muxer_;
  WriterReport* const report_;
  const uint32_t channel_count_;
  Framing framing_ = Framing::kUnknown;
  uint32_t adts_channels_ = 0;
  AudioTrackInfo info_;
  CodecContextHandle decoder_;  // Only until the first frame is recognised as AAC.
  uint32_t unrecognised_ = 0;
  int64_t last_time_ = -1;  // Of the last frame, in samples.
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_AUDIO_TRACK_H_
