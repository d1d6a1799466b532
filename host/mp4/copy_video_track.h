// Video as recorded: bit-exact pictures with in-band parameter sets, so that decoders follow
// changes of the size.
#ifndef HOST_MP4_COPY_VIDEO_TRACK_H_
#define HOST_MP4_COPY_VIDEO_TRACK_H_

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "host/h264/parameter_sets.h"
#include "host/mp4/mp4_muxer.h"
#include "host/mp4/picture_times.h"
#include "host/mp4/video_track.h"
#include "host/mp4/writer_report.h"
#include "record/parts/kept_pictures.h"
#include "record/predict/copy_selection.h"
#include "record/stream/annex_b.h"
#include "record/stream/display_order.h"
#include "record/stream/picture_order.h"
#include "record/timing/copied_video.h"

namespace kxrtc_host {

// CopySelection says which samples are left out. A key frame without its own parameter sets gets
// the newest ones.
class CopyVideoTrack : public VideoTrack {
 public:
  // Pictures of a stream that shows them in another order than it codes them wait until their place
  // is known. Limits: pictures, all samples behind the first of them, and its time.
  static constexpr uint64_t kMaxHeldPictures = 64;
  static constexpr uint64_t kMaxHeldBytes = 2 * Mp4Muxer::kMaxWaitingBytes;
  static constexpr int64_t kLongestHeldUs = 60000000;

  // Further sizes are not counted.
  static constexpr size_t kMaxSizes = 64;

  // The file gets the size and rotation of the recorded pictures that are shown for most of the
  // time: `width` and `height` if there are none. It has the pictures of `parts`. The pointers
  // outlive this.
  CopyVideoTrack(uint32_t width, uint32_t height, const KeptParts* parts, Mp4Muxer* muxer,
                 WriterReport* report)
      : width_(width),
        height_(height),
        parts_(parts),
        muxer_(muxer),
        report_(report),
        kept_(parts) {}

  void SetAttributes(int32_t rotation) override;
  [[nodiscard]] bool Push(int64_t time_us, const uint8_t* data, uint32_t size) override;
  [[nodiscard]] bool AdvanceTo(int64_t /*time_us*/) override { return true; }
  [[nodiscard]] bool Finish(int64_t end_us) override;
  int64_t end_us() const override { return kept_.end_us(); }

 private:
  AccessUnitContents LookInto();
  void AddParameterSets();
  void NoteRotation(int64_t file_us);
  void NoteShown(int64_t until_us);
  bool PassOn();
  bool Place();
  bool IsKept(bool is_key, Mp4SampleTimes* times);
  void TellLook();
  void TellRotation(int32_t main_rotation);
  void TellOrder();
  void TellParts();

  const uint32_t width_;
  const uint32_t height_;
  const KeptParts* const parts_;
  Mp4Muxer* const muxer_;
  WriterReport* const report_;
  ParameterSets sets_;
  std::vector<NalUnit> units_;  // Of the current access unit.
  CopySelection selection_;
  bool sets_came_alone_ = false;  // Since the last picture.
  bool described_ = false;
  int32_t rotation_ = 0;                    // The current one.
  std::vector<RotationChange> rotations_;   // Of recorded pictures that are shown, in the file.
  std::map<PictureSize, int64_t> size_us_;  // How long recorded pictures of each size are shown.
  std::map<int32_t, int64_t> rotation_us_;  // The same for each rotation.

  PictureOrderReader order_reader_;
  DisplayOrder order_;
  PictureTimes times_;
  std::deque<bool> unplaced_;  // Pictures that wait in the muxer: true for a key frame.
  KeptPictures kept_;

  // The last sample waits in its room for the next one, which gives its duration.
  bool has_held_ = false;
  bool held_is_icon_ = false;
  PictureSize held_size_;
  int32_t held_rotation_ = 0;
  int64_t held_time_us_ = 0;  // As all times here: of the whole record's file.
  int64_t last_duration_us_ = 0;
  Mp4Sample held_;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_COPY_VIDEO_TRACK_H_
