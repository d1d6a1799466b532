// Video as recorded: bit-exact pictures with in-band parameter sets, so that decoders follow
// changes of the size.
#ifndef HOST_MP4_COPY_VIDEO_TRACK_H_
#define HOST_MP4_COPY_VIDEO_TRACK_H_

#include <cstdint>
#include <vector>

#include "host/h264/annex_b.h"
#include "host/h264/parameter_sets.h"
#include "host/mp4/mp4_muxer.h"
#include "host/mp4/video_track.h"
#include "host/mp4/writer_report.h"
#include "kx_utility/raw_buffer.h"
#include "record/predict/copy_selection.h"
#include "record/timing/copied_video.h"

namespace kxrtc_host {

// CopySelection says which samples are left out. A key frame without its own parameter sets gets
// the newest ones.
class CopyVideoTrack : public VideoTrack {
 public:
  // `width` and `height` go into the file; the sizes of its pictures may differ.
  // Both pointers outlive this.
  CopyVideoTrack(uint32_t width, uint32_t height, Mp4Muxer* muxer, WriterReport* report)
      : width_(width), height_(height), muxer_(muxer), report_(report) {}

  void SetAttributes(int32_t rotation) override;
  [[nodiscard]] bool Push(int64_t time_us, const uint8_t* data, uint32_t size) override;
  [[nodiscard]] bool AdvanceTo(int64_t /*time_us*/) override { return true; }
  [[nodiscard]] bool Finish(int64_t end_us) override;
  int64_t end_us() const override { return end_us_; }

 private:
  AccessUnitContents LookInto();
  bool BuildSample(bool with_parameter_sets);
  void NoteRotation(int64_t time_us);
  bool WriteHeld(int64_t duration_us);
  void TellRotation();

  const uint32_t width_;
  const uint32_t height_;
  Mp4Muxer* const muxer_;
  WriterReport* const report_;
  ParameterSets sets_;
  std::vector<NalUnit> units_;  // Of the current access unit.
  CopySelection selection_;
  bool sets_came_alone_ = false;  // Since the last picture.
  bool described_ = false;
  int32_t rotation_ = 0;  // The current one.
  std::vector<RotationChange> rotations_;

  // The last sample waits for the next one, which gives its duration.
  bool has_held_ = false;
  bool held_is_key_ = false;
  int64_t held_time_us_ = 0;
  int64_t last_duration_us_ = 0;
  kx_utility::RawBuffer held_;
  kx_utility::RawBuffer sample_;
  int64_t end_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_COPY_VIDEO_TRACK_H_
