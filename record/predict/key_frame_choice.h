// Picks key frames of a record that are spread over the time of the MP4.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_PREDICT_KEY_FRAME_CHOICE_H_
#define RECORD_PREDICT_KEY_FRAME_CHOICE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {

// A key frame that the MP4 shows.
struct KeyFramePlace {
  int64_t output_us = 0;  // Output time.
  kxrtc::VideoDataRecord data;
  int32_t rotation = 0;  // Degrees clockwise, as recorded.
};

// Takes all key frames in the order of the MP4 and keeps a bounded number of them.
class KeyFrameChoice {
 public:
  static constexpr size_t kMaxKept = 4096;

  // For the frames that follow.
  void OnAttributes(int32_t rotation) { rotation_ = rotation; }

  void Add(int64_t output_us, const kxrtc::VideoDataRecord& data);

  // At most one for each of `count` equal slices of `duration_us`, by time: the one nearest to the
  // middle of its slice.
  std::vector<KeyFramePlace> Spread(size_t count, int64_t duration_us) const;

 private:
  void Thin();

  std::vector<KeyFramePlace> kept_;
  int64_t gap_us_ = 0;  // Two frames that are kept are at least so far apart.
  int32_t rotation_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_KEY_FRAME_CHOICE_H_
