// Places the audio frames of parts. Frames are kept or left out whole, and one follows the other
// also behind a cut: a decoder knows no shorter ones.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_PARTS_KEPT_SOUND_H_
#define RECORD_PARTS_KEPT_SOUND_H_

#include <cstddef>
#include <cstdint>
#include <optional>

#include "record/parts/kept_parts.h"

namespace kxrtc_host {

// A part that starts where nothing is cut starts with the frame there and the one before it, which
// its decoding needs: what is before the part has a negative time, so that players skip it. A frame
// also carries some of the sound of the next one. So the last frame before a cut is left out, and
// frames of silence fill the space up to the next part.
class KeptSound {
 public:
  struct Place {
    int64_t time = 0;            // In the file, samples.
    int64_t duration = 0;        // Samples; less than a frame where a part ends without a cut.
    uint32_t silent_frames = 0;  // To be put right before it.
  };

  // `parts` is borrowed.
  explicit KeptSound(const KeptParts* parts) : parts_(parts) {}

  // The next frame, at `time` of the MP4 of the whole record, in samples. Times increase. Without a
  // value it is left out.
  std::optional<Place> Next(int64_t time);

 private:
  bool Starts(const KeptPart& part, int64_t time) const;

  const KeptParts* const parts_;
  size_t current_ = 0;    // Part.
  bool in_part_ = false;  // A frame of it is kept.
  bool has_frame_ = false;
  int64_t shift_ = 0;  // From whole time to the file, within the part.
  int64_t grid_ = 0;   // The file has its frames at whole frames from here.
  int64_t end_ = 0;    // Of the latest frame.
};

}  // namespace kxrtc_host

#endif  // RECORD_PARTS_KEPT_SOUND_H_
