// The key frames of a record, at the times of its MP4.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_SHOW_RECORD_KEY_FRAMES_H_
#define RECORD_SHOW_RECORD_KEY_FRAMES_H_

#include <string>
#include <vector>

#include "files/read_only_file.h"
#include "record/check/record_summary.h"
#include "record/predict/key_frame_choice.h"
#include "record/show/key_frame_source.h"

namespace kxrtc_host {

// Opens the pictures of the record in `folder`.
void OpenRecordedVideo(const std::string& folder, ReadOnlyFile* video);

// Reads one of them. False: it is above kMaxFrameBytesRead, or not in the file.
[[nodiscard]] bool ReadKeyFrame(const ReadOnlyFile& video, const KeyFramePlace& place,
                                std::vector<uint8_t>* access_unit);

class RecordKeyFrames final : public KeyFrameSource {
 public:
  // Both are borrowed: the summary of the record, and the choice that its analysis has filled.
  RecordKeyFrames(const RecordSummary& summary, const KeyFrameChoice& choice);

  int64_t duration_us() const override { return summary_.replay.duration_us; }
  const std::vector<int64_t>& times_us() const override { return times_us_; }
  [[nodiscard]] bool Read(size_t place, KeyFrame* frame) override;
  // A desktop share that stands still keeps its picture, as in encoded video.
  bool ShowsIcon(int64_t time_us) const override;

 private:
  const RecordSummary& summary_;
  const KeyFrameChoice& choice_;
  std::vector<int64_t> times_us_;
  ReadOnlyFile video_;
};

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_RECORD_KEY_FRAMES_H_
