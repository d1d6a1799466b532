// Reads sequence parameter sets that the library's parser does not take. The host implements it.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_PARAMETER_SET_EXAMINER_H_
#define RECORD_CHECK_PARAMETER_SET_EXAMINER_H_

#include <cstdint>
#include <optional>

#include "record/check/record_summary.h"

namespace kxrtc_host {

class ParameterSetExaminer {
 public:
  virtual ~ParameterSetExaminer() = default;

  // The format of the picture in `size` bytes of Annex B stream: a key frame with its parameter
  // sets. None if they are not valid.
  [[nodiscard]] virtual std::optional<VideoFormat> Examine(const uint8_t* data, uint32_t size) = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_PARAMETER_SET_EXAMINER_H_
