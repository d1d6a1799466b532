// Follows the records of an index: the session and channel of a record, whether its frame is there,
// and whether the record is allowed at this place. The replay stops at the first fault; checks
// report it and go on; repair repairs it. Threads: an object belongs to one thread at a time.
#ifndef RECORD_INDEX_INDEX_STATE_H_
#define RECORD_INDEX_INDEX_STATE_H_

#include <cstdint>

#include "files/read_only_file.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

// Where the bytes of a frame are.
enum class FramePlace {
  kInFile,          // All of them (possibly none) are in the data file.
  kEmptyBehindEnd,  // A frame of 0 bytes after the end: a replay can seek there and reads nothing.
  kMissing,         // The file does not have them.
};

enum class RecordFault {
  kNone,
  kNoSession,      // Not a start record, and no session is open.
  kOpenSession,    // A start record, and a session is open.
  kNoChannel,      // Attributes or a video frame, and the channel carries no video.
  kMissingFrame,   // FramePlace::kMissing.
  kRepeatedBytes,  // The frames so far name more bytes than their file has, see IsRepeated().
};

// True when all bytes of the frame are before `file_size`.
inline bool LiesInside(const kxrtc::MediaDataRecord& record, uint64_t file_size) {
  return record.start_position <= file_size && record.size <= file_size - record.start_position;
}

class IndexState {
 public:
  // Both are borrowed.
  IndexState(const ReadOnlyFile* video, const ReadOnlyFile* audio) : video_(video), audio_(audio) {}

  // The fault of `record` if it came next.
  RecordFault FaultOf(const IndexRecord& record) const;

  // Of a media record.
  FramePlace PlaceOf(const IndexRecord& record) const {
    const ReadOnlyFile& file = record.header.type == kxrtc::kVideoData ? *video_ : *audio_;
    if (LiesInside(record.data, file.size())) return FramePlace::kInFile;
    // The replay seeks to a frame and then reads it.
    const bool is_reached = record.data.size == 0 && file.CanSeekTo(record.data.start_position);
    return is_reached ? FramePlace::kEmptyBehindEnd : FramePlace::kMissing;
  }

  // True when the records up to this one name the same bytes of a data file again and again: a few
  // thousand records could make a small file terabytes of work. A recorder names each byte once;
  // one frame of any size may come twice.
  bool IsRepeated(const IndexRecord& record) const;

  // True for attributes and video frames while the channel carries no video.
  bool LacksChannel(const IndexRecord& record) const;

  // Goes past the record, even if it has a fault. A record outside of a session opens a session,
  // unless it is a stop record.
  void Take(const IndexRecord& record);

  bool in_session() const { return in_session_; }
  uint32_t media_type() const { return media_type_; }  // Of the current channel; 0: no video.

 private:
  const ReadOnlyFile* video_;
  const ReadOnlyFile* audio_;
  bool in_session_ = false;
  uint32_t media_type_ = 0;
  uint64_t named_video_ = 0;  // Bytes of the frames so far that are in their file.
  uint64_t named_audio_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_INDEX_STATE_H_
