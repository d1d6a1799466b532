// Reads recorded video frames: what the replay needs to know of each, and what is wrong with them.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_VIDEO_CHECK_H_
#define HOST_RECORD_VIDEO_CHECK_H_

#include <cstdint>
#include <vector>

#include "host/record/index_walker.h"
#include "host/record/record_file.h"
#include "host/record/record_summary.h"

namespace kxrtc_host {

// Larger frames are looked at up to here only, so that memory stays bounded.
inline constexpr uint32_t kMaxFrameBytesRead = 8 * 1024 * 1024;
inline constexpr uint32_t kMaxPictureSide = 16384;

class VideoCheck {
 public:
  // Both are borrowed; formats and findings of the summary are written.
  VideoCheck(RecordFile* file, RecordSummary* summary) : file_(file), summary_(summary) {}

  void OnNewChannel();
  void OnAttributes(const IndexRecord& record);

  // The icon is pushed: the parameter sets in front of it do not count any more.
  void OnIcon() { has_sps_ = has_pps_ = false; }

  // For a frame inside the file. True when it holds a key frame.
  bool OnFrame(const IndexRecord& record);

 private:
  bool ReadFrame(const IndexRecord& record);
  void CheckNalUnits(int64_t time_us, uint64_t position, bool is_key);
  void CheckParameterSet(const uint8_t* nal_unit, uint32_t size, int64_t time_us);

  RecordFile* file_;
  RecordSummary* summary_;
  std::vector<uint8_t> frame_;
  std::vector<uint8_t> last_parameter_set_;
  VideoFormat last_format_;
  bool last_format_valid_ = false;
  bool expects_key_frame_ = true;  // The next frame is the first one of its channel.
  bool has_attributes_ = false;    // Of the present channel.
  bool has_sps_ = false;           // Since the latest attributes or icon.
  bool has_pps_ = false;           // Likewise.
  kxrtc::NewVideoAttributesRecord attributes_;
};

}  // namespace kxrtc_host

#endif  // HOST_RECORD_VIDEO_CHECK_H_
