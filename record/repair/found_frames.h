// Makes records for the whole frames in a part of the data files that no index names, as a recorder
// would have written them. Sound has a fixed pace. Pictures are spread over the time between two
// known records; behind the last one they follow the stream's own timing, else the sound.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_FOUND_FRAMES_H_
#define RECORD_REPAIR_FOUND_FRAMES_H_

#include <cstdint>
#include <functional>
#include <optional>

#include "record/index/index_walker.h"
#include "record/repair/adts_scanner.h"
#include "record/stream/access_unit_scanner.h"

namespace kxrtc_host {

// The part of a data file that no record names.
struct FileGap {
  uint64_t begin = 0;
  uint64_t end = 0;
};

// Where the times of found pictures come from.
enum class PictureTimes { kRecords, kStream, kSound, kUsualRate };

class FoundFrames {
 public:
  struct Gap {
    FileGap video;
    FileGap audio;
    int64_t after_us = 0;              // Of the record before.
    std::optional<int64_t> before_us;  // Of the record behind; none at the end of the index.
  };

  // `video` and `audio` are borrowed; the scanner knows the format. Reads the gap once to count.
  FoundFrames(ReadOnlyFile* video, AdtsScanner* audio, const Gap& gap,
              std::function<bool()> is_wanted);

  // The next video or audio record, in the order of their times; `data` is the place in the files.
  // `picture`, if not null, gets the access unit of a video record.
  [[nodiscard]] bool Next(IndexRecord* record, AccessUnit* picture);

  // True when no picture comes behind the latest one, and its file ends there.
  bool is_last_picture() const { return !picture_ && gap_.video.end == video_->size(); }

  PictureTimes picture_times() const { return picture_times_; }

 private:
  void Count();
  void ReadPicture();
  void ReadSound();

  ReadOnlyFile* video_;
  AdtsScanner* audio_;
  Gap gap_;
  std::function<bool()> is_wanted_;
  PictureTimes picture_times_ = PictureTimes::kRecords;
  int64_t sound_step_us_ = 0;
  int64_t picture_step_us_ = 0;
  AccessUnitScanner pictures_;
  std::optional<AccessUnit> picture_;
  int64_t picture_us_ = 0;
  std::optional<StreamFrame> sound_;
  uint64_t sound_position_ = 0;
  int64_t sound_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_FOUND_FRAMES_H_
