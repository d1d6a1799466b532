// Video as it was recorded: bit-exact pictures with their parameter sets in band, so that changes
// of the size in mid-stream decode.
#ifndef HOST_COPY_VIDEO_TRACK_H_
#define HOST_COPY_VIDEO_TRACK_H_

#include <cstdint>
#include <vector>

#include "host/annex_b.h"
#include "host/mp4_muxer.h"
#include "host/parameter_sets.h"
#include "host/shared/writer_status.h"
#include "host/video_track.h"
#include "kx_utility/raw_buffer.h"

namespace kxrtc_host {

// A sample that could not be decoded from the file is left out: those before the first key frame,
// and key frames whose parameter sets have not come since the attributes changed, with everything
// up to the next one. A key frame without parameter sets of its own gets the newest.
class CopyVideoTrack : public VideoTrack {
 public:
  // What a sample can last at most: libavformat counts microseconds in 31 bits, somewhat less than
  // which leaves room for its own sums.
  static constexpr int64_t kLongestSampleUs = 2000000000;

  // `width` and `height` are what the file says about its pictures, which differ among themselves.
  // Both pointers outlive this.
  CopyVideoTrack(uint32_t width, uint32_t height, Mp4Muxer* muxer, WriterReport* report)
      : width_(width), height_(height), muxer_(muxer), report_(report) {}

  void SetAttributes(int32_t rotation) override;
  [[nodiscard]] bool Push(int64_t time_us, const uint8_t* data, uint32_t size) override;
  [[nodiscard]] bool AdvanceTo(int64_t /*time_us*/) override { return true; }
  [[nodiscard]] bool Finish(int64_t end_us) override;
  int64_t end_us() const override { return end_us_; }

 private:
  struct Contents {
    bool slice = false;
    bool idr = false;
    bool sps = false;
    bool pps = false;
  };
  struct RotationChange {
    int64_t time_us;
    int32_t rotation;
  };

  Contents LookInto();
  bool IsDecodable(const Contents& contents);
  bool BuildSample(bool with_parameter_sets);
  void NoteRotation(int64_t time_us);
  bool WriteHeld(int64_t duration_us);
  void TellRotation();

  const uint32_t width_;
  const uint32_t height_;
  Mp4Muxer* const muxer_;
  WriterReport* const report_;
  ParameterSets sets_;
  std::vector<NalUnit> units_;  // Of the access unit at hand.
  bool waiting_for_key_ = true;
  bool sets_came_alone_ = false;  // Since the last picture.
  bool described_ = false;
  int32_t rotation_ = 0;  // The one at hand.
  std::vector<RotationChange> rotations_;

  // The last sample waits for the next one, which tells how long it lasts.
  bool has_held_ = false;
  bool held_is_key_ = false;
  int64_t held_time_us_ = 0;
  int64_t last_duration_us_ = 0;
  kx_utility::RawBuffer held_;
  kx_utility::RawBuffer sample_;
  int64_t end_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_COPY_VIDEO_TRACK_H_
