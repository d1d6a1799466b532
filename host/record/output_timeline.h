// Collects what is shown when in the MP4: stretches, marks and sums over slices of time, with
// bounded memory however long the record is.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_OUTPUT_TIMELINE_H_
#define HOST_RECORD_OUTPUT_TIMELINE_H_

#include <cstdint>

#include "host/record/record_summary.h"

namespace kxrtc_host {

inline constexpr size_t kMaxSpans = 20000;
inline constexpr size_t kMaxMarks = 20000;
inline constexpr size_t kMaxBuckets = 2048;  // Twice as many never arise: two become one.
inline constexpr int64_t kFirstBucketUs = 100000;

class OutputTimeline {
 public:
  // Both are borrowed: spans, marks and buckets are written, and a finding for each stretch of
  // filler.
  OutputTimeline(ReplayPrediction* prediction, FindingList* findings);

  // Pictures of this kind are shown from `output_us` on. The same kind again changes nothing.
  void Show(int64_t output_us, FillerReason filler, uint32_t media_type, int64_t time_us);

  // The present stretch ends although the kind stays: a new channel or session.
  void Break() { broken_ = true; }

  void AddVideo(int64_t output_us, uint32_t bytes, bool is_key);
  void AddAudio(int64_t output_us, uint32_t bytes);

  // Ends the last stretch.
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

#endif  // HOST_RECORD_OUTPUT_TIMELINE_H_
