// The audio of the record, copied: AAC frames with or without ADTS framing.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_MP4_AUDIO_TRACK_H_
#define HOST_MP4_AUDIO_TRACK_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "host/ffmpeg/aac_examiner.h"
#include "host/ffmpeg/job_thread.h"
#include "host/mp4/mp4_muxer.h"
#include "host/mp4/writer_report.h"
#include "record/check/adts.h"
#include "record/parts/kept_sound.h"

namespace kxrtc_host {

class AudioTrack {
 public:
  // `channel_count` describes raw frames; an ADTS header overrides it. With `examines` a thread of
  // its own tries each frame with a decoder, and silence replaces one that does not decode. The
  // file has the frames of `parts`. The pointers outlive this.
  AudioTrack(uint32_t channel_count, bool examines, const KeptParts* parts, Mp4Muxer* muxer,
             WriterReport* report);

  // Takes one frame at `timestamp_us` of output time, rebased. The first frame that has an ADTS
  // header, or decodes without one, decides the framing of all; earlier frames and frames with a
  // different framing are dropped and counted. False: the report says why.
  [[nodiscard]] bool Push(int64_t timestamp_us, const uint8_t* data, uint32_t size);

  // Writes the frames that are still examined. Call once, after the last frame. False as above.
  [[nodiscard]] bool Flush();

  // Adds warnings for the user to the report.
  void Finish();

  // The end of the audio, microseconds of the file; 0 without audio. Complete after Flush().
  int64_t end_us() const { return end_us_; }

  // The same in the file of the whole record.
  int64_t whole_end_us() const;

 private:
  // So many frames are examined at once, 0.3 s: the order of the samples in the file does not
  // depend on thread timing.
  static constexpr size_t kFramesUnderWay = 16;

  struct Frame {
    KeptSound::Place place;
    std::vector<uint8_t> bytes;  // Raw; empty if no decoder can take it.
    bool decodes = false;
  };

  bool Settle(const uint8_t* data, uint32_t size);
  bool SettleAdts(const AdtsHeader& header);
  bool SettleRaw(const uint8_t* data, uint32_t size);
  bool Describe(uint32_t object_type, uint32_t channel_count);
  bool Drop();
  bool Examine(const KeptSound::Place& place, const uint8_t* data, uint32_t size);
  bool WriteExamined();
  bool Write(KeptSound::Place place, const uint8_t* data, uint32_t size);
  bool WriteFrame(int64_t time, int64_t duration, const uint8_t* data, uint32_t size);

  Mp4Muxer* const muxer_;
  WriterReport* const report_;
  const uint32_t channel_count_;
  const bool examines_;
  bool is_settled_ = false;  // The following describe all frames.
  AudioFraming framing_;
  std::vector<uint8_t> silence_;
  AacExaminer recogniser_;  // Of raw frames, until one of them is AAC.
  uint32_t unrecognised_ = 0;
  int64_t first_silenced_us_ = 0;  // Of the file.
  int64_t last_time_ = -1;         // Of the last frame in the whole record's file, in samples.
  KeptSound kept_;
  int64_t end_us_ = 0;
  AacExaminer examiner_;  // Of the thread.
  // Null: frames are written as they are. The last member: it uses the rest.
  std::unique_ptr<JobThread<Frame>> thread_;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_AUDIO_TRACK_H_
