// The parts of a data file that stay, one after another in the new file.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_FRAME_RANGES_H_
#define RECORD_REPAIR_FRAME_RANGES_H_

#include <cstdint>
#include <optional>
#include <vector>

namespace kxrtc_host {

class FrameRanges {
 public:
  struct Range {
    uint64_t begin = 0;  // In the old file.
    uint64_t size = 0;
  };
  // Memory stays bounded: no more holes than this.
  static constexpr size_t kMaxRanges = 1000000;

  // Adds a frame behind those before it. Returns its place in the new file; none when there are too
  // many holes.
  std::optional<uint64_t> Take(uint64_t position, uint32_t size) {
    if (size > 0 && (ranges_.empty() || position != end())) {
      if (ranges_.size() == kMaxRanges) return std::nullopt;
      ranges_.push_back({position, 0});
    }
    const uint64_t place = total_;
    if (size > 0) ranges_.back().size += size;
    total_ += size;
    return place;
  }

  // End of the last frame, in the old file.
  uint64_t end() const { return ranges_.empty() ? 0 : ranges_.back().begin + ranges_.back().size; }
  const std::vector<Range>& ranges() const { return ranges_; }

 private:
  std::vector<Range> ranges_;
  uint64_t total_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_FRAME_RANGES_H_
