// Finds the audio frames of a data file by their ADTS headers (ISO/IEC 14496-3, 1.A.3.2), also
// after inserted or missing bytes. Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_ADTS_SCANNER_H_
#define RECORD_REPAIR_ADTS_SCANNER_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "files/read_only_file.h"
#include "record/check/adts.h"
#include "record/stream/stream_frame.h"

namespace kxrtc_host {

class AdtsScanner {
 public:
  // `file` is borrowed. `is_wanted`, if given, is asked from time to time; false ends each search.
  explicit AdtsScanner(ReadOnlyFile* file, std::function<bool()> is_wanted = nullptr)
      : file_(file), is_wanted_(std::move(is_wanted)) {}

  // Looks for the format of the stream: that of the first frames which follow each other. False
  // when there are none; then nothing fits and nothing is found.
  bool FindFormat();

  // The header of the frame that gave the format; none before FindFormat() found one.
  const std::optional<AdtsHeader>& format() const { return format_; }

  // True when a frame of the format has exactly this place, and another one or the end follows.
  [[nodiscard]] bool Fits(const StreamFrame& frame);

  // The next frame of the format that lies between `position` and `end`, and that another one,
  // `end` or the end of the file follows: one that lost or gained bytes does not count. None when
  // there is no frame, or the work is not wanted any more.
  [[nodiscard]] std::optional<StreamFrame> Find(uint64_t position, uint64_t end);

  // The next header of the format from `position` on, whatever follows it.
  [[nodiscard]] std::optional<StreamFrame> FindHeader(uint64_t position);

 private:
  std::optional<AdtsHeader> HeaderAt(uint64_t position);
  bool IsFollowed(uint64_t end);
  std::optional<uint64_t> FindSync(uint64_t position, uint64_t end);
  bool IsStopped();

  ReadOnlyFile* file_;
  std::function<bool()> is_wanted_;
  std::optional<AdtsHeader> format_;
  uint32_t steps_ = 0;  // Of all searches.
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_ADTS_SCANNER_H_
