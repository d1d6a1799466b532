// Decides where the access units of an H.264 byte stream begin (ITU-T H.264, clauses 7.4.1.2.3 and
// 7.4.1.2.4).
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_ACCESS_UNIT_TRACKER_H_
#define RECORD_STREAM_ACCESS_UNIT_TRACKER_H_

#include <cstdint>
#include <optional>

#include "record/stream/picture_parameters.h"
#include "record/stream/slice_header.h"

namespace kxrtc_host {

class AccessUnitTracker {
 public:
  // True if the next NAL unit starts an access unit. `data` is the header byte and the first bytes
  // of the NAL payload: kMaxSliceHeaderBytes or more, or all; of parameter sets all. If a slice
  // refers to unknown parameter sets, its first_mb_in_slice decides.
  [[nodiscard]] bool BeginsAccessUnit(const uint8_t* data, uint32_t size);

 private:
  PictureParameterSets sets_;
  bool has_begun_ = false;
  std::optional<SliceHeader> last_slice_;  // Of the current access unit.
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_ACCESS_UNIT_TRACKER_H_
