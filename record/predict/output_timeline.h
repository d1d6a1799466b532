// Collects what the MP4 shows and when: spans, marks and sums over slices of time. Memory is
// bounded, however long the record is. Threads: an object belongs to one thread at a time.
#ifndef RECORD_PREDICT_OUTPUT_TIMELINE_H_
#define RECORD_PREDICT_OUTPUT_TIMELINE_H_

#include <cstdint>

#include "record/check/record_summary.h"

namespace kxrtc_host {

inline constexpr size_t kMaxSpans = 20000;
inline constexpr size_t kMaxMarks = 20000;
inline constexpr size_t kMaxBuckets = 2048;  // At the limit, every two buckets become one.
inline constexpr int64_t kFirstBucketUs = 100000;

class OutputTimeline {
 public:
  // Both are borrowed. Writes spans, marks and buckets, and a finding for each span of filler.
  OutputTimeline(ReplayPrediction* prediction, FindingList* findings);

  // Pictures of this kind are shown from `output_us` on. Repeating the kind changes nothing.
  void Show(int64_t output_us, FillerReason filler, uint32_t media_type, int64_t time_us);

  // The current span ends although the kind stays: a new channel or session starts.
  void Break() { broken_ = true; }

  void AddVideo(int64_t output_us, uint32_t bytes, bool is_key);
  void AddAudio(int64_t output_us, uint32_t bytes);

  // Ends the last span.
  void Finish(int64_t output_us);

 private:
  OutputBucket* BucketAt(int64_t output_us);
  void EndSpan(int64_t output_us);
  void ReportFiller();

  ReplayPrediction* prediction_;
  FindingList* findings_;
  OutputSpan span_;
  bool has_span_ = false;
  bool broken_ = false;
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_OUTPUT_TIMELINE_H_
