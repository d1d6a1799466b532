// For how long a record has sound or pictures: the distances of its frames in recorder time,
// without pauses, steps of the clock and the time between sessions.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_RECORDED_TIME_H_
#define RECORD_CHECK_RECORDED_TIME_H_

#include <cstdint>
#include <optional>

#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {

class RecordedTime {
 public:
  // Takes the next record of an index.
  void Take(const kxrtc::SpeakerRecordHeader& record);

  int64_t total_us() const { return total_us_; }

 private:
  int64_t total_us_ = 0;
  std::optional<int64_t> latest_us_;  // Of the frames of this session.
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_RECORDED_TIME_H_
