// Uniform video: every picture is decoded, turned upright, fitted into one canvas and encoded again
// at a constant frame rate.
#ifndef HOST_MP4_ENCODE_VIDEO_TRACK_H_
#define HOST_MP4_ENCODE_VIDEO_TRACK_H_

#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "files/is_wanted.h"
#include "host/ffmpeg/encoder_thread.h"
#include "host/ffmpeg/ffmpeg_handles.h"
#include "host/ffmpeg/h264_encoder.h"
#include "host/ffmpeg/picture_layout.h"
#include "host/mp4/mp4_muxer.h"
#include "host/mp4/picture_decoder.h"
#include "host/mp4/video_track.h"
#include "host/mp4/writer_report.h"
#include "record/parts/kept_parts.h"
#include "record/stream/annex_b.h"

namespace kxrtc_host {

// Tick k of the output shows the newest picture up to half a tick after it, so each picture starts
// at the tick nearest to its time. A long pause without sound is not filled with ticks: its picture
// is repeated for a while, and once more at the end, so work is bounded by what is pushed. When a
// picture cannot be decoded, the previous one stays and the picture is counted. Only many of them
// in a row end the run.
class EncodeVideoTrack : public VideoTrack {
 public:
  static constexpr uint32_t kMaxUndecodableInARow = 1000;

  // `encoder` is open with `settings`; the pointers outlive this. `is_wanted` is asked before each
  // picture that is encoded. The file has the ticks of `parts`, which start and end at ticks.
  EncodeVideoTrack(std::unique_ptr<H264Encoder> encoder, const EncoderSettings& settings,
                   IsWanted is_wanted, const KeptParts* parts, Mp4Muxer* muxer,
                   WriterReport* report);

  // Prepares the decoder and describes the track. False: the report says why.
  [[nodiscard]] bool Initialize();

  void SetAttributes(int32_t rotation) override;
  [[nodiscard]] bool Push(int64_t time_us, const uint8_t* data, uint32_t size) override;
  [[nodiscard]] bool AdvanceTo(int64_t time_us) override;
  [[nodiscard]] bool Finish(int64_t end_us) override;
  int64_t end_us() const override;

 private:
  // From this count of the encoder on, so many ticks were skipped in all.
  struct Skip {
    int64_t from_count;
    int64_t ticks;
  };

  bool ShowUntil(int64_t time_us);
  bool TakePictures();
  bool ShowPicture(int64_t time_us, int32_t rotation);
  bool NoteUndecodable();
  int64_t TickTimeUs(int64_t tick) const;
  int64_t FileTick(int64_t tick) const;
  bool EmitUntil(int64_t time_us);
  void SkipUntil(int64_t time_us);
  bool EmitTick();
  bool TakePackets(int result);
  bool WritePacket(const AVPacket& packet);

  const std::string encoder_name_;
  const std::vector<uint8_t> encoder_parameter_sets_;
  EncoderThread encoder_;
  const EncoderSettings settings_;
  const IsWanted is_wanted_;
  const KeptParts* const parts_;
  Mp4Muxer* const muxer_;
  WriterReport* const report_;
  PictureDecoder decoder_;
  PictureLayout layout_;
  FrameHandle decoded_;
  FrameHandle shown_;                  // Shown by the next ticks.
  std::vector<PacketHandle> packets_;  // Encoded, not yet written.
  bool has_picture_ = false;
  int64_t last_time_us_ = -1;  // Of the last sample pushed.
  bool has_tick_ = false;      // In the file.
  int64_t next_tick_ = 0;      // Of the whole record's file.
  int64_t skipped_ticks_ = 0;  // Of this file. The encoder counts the others only.
  // Those that packets still need; the first is in force.
  std::deque<Skip> skips_{{std::numeric_limits<int64_t>::min(), 0}};
  uint32_t undecodable_in_a_row_ = 0;
  std::vector<NalUnit> units_;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_ENCODE_VIDEO_TRACK_H_
