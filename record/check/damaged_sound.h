// Where the audio frames are that do not decode.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_DAMAGED_SOUND_H_
#define RECORD_CHECK_DAMAGED_SOUND_H_

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>

#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {

class DamagedSound {
 public:
  // Memory stays bounded: with more parts than this, the next frames are not noted.
  static constexpr size_t kMaxParts = 1000000;

  DamagedSound() = default;
  DamagedSound(const DamagedSound&) = delete;
  DamagedSound& operator=(const DamagedSound&) = delete;

  void Add(const kxrtc::MediaDataRecord& frame) {
    const uint64_t end = frame.start_position + frame.size;
    if (latest_ != parts_.end() && latest_->second == frame.start_position) {
      latest_->second = end;
    } else if (parts_.size() < kMaxParts) {
      latest_ = parts_.emplace(frame.start_position, end).first;
    }
  }

  // True when the frame at `position` was added.
  bool Contains(uint64_t position) const {
    const auto behind = parts_.upper_bound(position);
    return behind != parts_.begin() && position < std::prev(behind)->second;
  }

 private:
  std::map<uint64_t, uint64_t> parts_;  // End by begin.
  std::map<uint64_t, uint64_t>::iterator latest_ = parts_.end();
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_DAMAGED_SOUND_H_
