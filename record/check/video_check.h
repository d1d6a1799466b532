// Reads recorded video frames: finds the key frames for the replay and reports faults.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_VIDEO_CHECK_H_
#define RECORD_CHECK_VIDEO_CHECK_H_

#include <cstdint>
#include <vector>

#include "files/read_only_file.h"
#include "record/check/parameter_set_examiner.h"
#include "record/check/record_summary.h"
#include "record/index/index_walker.h"
#include "record/stream/access_unit_contents.h"
#include "record/stream/display_order.h"
#include "record/stream/picture_order.h"

namespace kxrtc_host {

// Only this much of a larger frame is read, so that memory stays bounded.
inline constexpr uint32_t kMaxFrameBytesRead = 8 * 1024 * 1024;
inline constexpr uint32_t kMaxPictureSide = 16384;

class VideoCheck {
 public:
  // All are borrowed; `examiner` may be null. Writes formats and findings of the summary.
  VideoCheck(ReadOnlyFile* file, ParameterSetExaminer* examiner, RecordSummary* summary)
      : file_(file), examiner_(examiner), summary_(summary) {}

  void OnNewChannel();
  void OnAttributes(const IndexRecord& record);

  // The icon is pushed. Parameter sets before it are no longer valid.
  void OnIcon() { has_sps_ = has_pps_ = is_shown_ = false; }

  // For a frame inside the file. True for a key frame.
  bool OnFrame(const IndexRecord& record);

  // Of the latest frame, as far as it was read.
  const AccessUnitContents& contents() const { return contents_; }

  void Finish();

 private:
  bool ReadFrame(const IndexRecord& record);
  void CheckNalUnits(const std::vector<kxrtc::H264::NaluIndex>& nal_units, int64_t time_us,
                     uint64_t position, bool is_key);
  void CheckParameterSet(const uint8_t* nal_unit, uint32_t size, int64_t time_us);

  void ReadFormat(const uint8_t* nal_unit, uint32_t size, int64_t time_us);

  ReadOnlyFile* file_;
  ParameterSetExaminer* examiner_;
  RecordSummary* summary_;
  const uint8_t* frame_ = nullptr;  // The current one, of `frame_size_` bytes.
  uint32_t frame_size_ = 0;
  std::vector<uint8_t> large_frame_;
  AccessUnitContents contents_;
  std::vector<uint8_t> last_parameter_set_;
  VideoFormat last_format_;
  bool last_format_valid_ = false;
  bool told_unparsed_ = false;
  bool expects_key_frame_ = true;  // The next frame is the first one of its channel.
  bool has_attributes_ = false;    // Of the current channel.
  bool has_sps_ = false;           // Since the latest attributes or icon.
  bool has_pps_ = false;           // Likewise.
  kxrtc::NewVideoAttributesRecord attributes_;
  bool is_shown_ = false;  // The MP4 contains the frames: a key frame with parameter sets came.
  PictureOrderReader order_reader_;
  DisplayOrder order_;
  std::vector<NalUnit> units_;  // Of the current frame.
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_VIDEO_CHECK_H_
