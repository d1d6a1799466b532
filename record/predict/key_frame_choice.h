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

// At most one for each of `count` equal slices of `duration_us`: the one of the sorted `times_us`
// that is nearest to the middle of its slice. Returns their places in `times_us`, sorted.
std::vector<size_t> SpreadOver(const std::vector<int64_t>& times_us, size_t count,
                               int64_t duration_us);

// The slice of SpreadOver() that has `time_us`, and where a slice starts.
size_t SliceOf(int64_t time_us, size_t count, int64_t duration_us);
int64_t SliceStart(size_t slice, size_t count, int64_t duration_us);

// Takes all key frames in the order of the MP4 and keeps a bounded number of them.
class KeyFrameChoice {
 public:
  static constexpr size_t kMaxKept = 4096;

  // For the frames that follow.
  void OnAttributes(int32_t rotation) { rotation_ = rotation; }

  void Add(int64_t output_us, const kxrtc::VideoDataRecord& data);

  // Those of SpreadOver().
  std::vector<KeyFramePlace> Spread(size_t count, int64_t duration_us) const;

  // All that were kept, by time.
  const std::vector<KeyFramePlace>& kept() const { return kept_; }

 private:
  void Thin();

  std::vector<KeyFramePlace> kept_;
  int64_t gap_us_ = 0;  // Two frames that are kept are at least so far apart.
  int32_t rotation_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_KEY_FRAME_CHOICE_H_
