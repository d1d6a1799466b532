// Counts what a growing record holds by reading its index behind the recorder.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_RECORD_FOLLOWER_H_
#define HOST_CONFERENCE_RECORD_FOLLOWER_H_

#include <cstdint>
#include <string>

#include "kx_utility/file.h"

namespace kxrtc_host {

// Whole index records and what they tell of the data files.
struct RecordCounts {
  uint64_t sessions = 0;
  uint64_t switches = 0;
  uint64_t video_frames = 0;
  uint64_t audio_frames = 0;
  uint64_t video_bytes = 0;
  uint64_t audio_bytes = 0;
  uint64_t index_bytes = 0;
  bool session_open = false;  // The last session has no stop record (yet).
};

class RecordFollower {
 public:
  // `folder` with its trailing separator. False when there is no index to read.
  [[nodiscard]] bool Open(const std::string& folder);

  // Reads what has been added. False at a record that is none; the counts stay in front of it.
  [[nodiscard]] bool Follow();

  const RecordCounts& counts() const { return counts_; }

 private:
  enum class Step { kRecord, kNothingNew, kBroken };
  Step FollowOne();

  kx_utility::File index_;
  RecordCounts counts_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_RECORD_FOLLOWER_H_
