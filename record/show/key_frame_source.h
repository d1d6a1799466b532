// A video, as far as its key frames show it.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_SHOW_KEY_FRAME_SOURCE_H_
#define RECORD_SHOW_KEY_FRAME_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kxrtc_host {

// A key frame that was read.
struct KeyFrame {
  std::vector<uint8_t> access_unit;  // With its parameter sets.
  int32_t rotation = 0;              // Degrees clockwise.
  int64_t time_us = 0;               // From the start of the MP4.
};

class KeyFrameSource {
 public:
  virtual ~KeyFrameSource() = default;

  // Of the MP4.
  virtual int64_t duration_us() const = 0;

  // About when each key frame is shown, from the start of the MP4 on; sorted.
  virtual const std::vector<int64_t>& times_us() const = 0;

  // Reads the key frame in that place of times_us(). False: it cannot be read, or is too large.
  [[nodiscard]] virtual bool Read(size_t place, KeyFrame* frame) = 0;

  // True when the MP4 shows the filler clip at that time, and the source does not have it.
  virtual bool ShowsIcon(int64_t time_us) const = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_KEY_FRAME_SOURCE_H_
