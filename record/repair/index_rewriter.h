// Turns the records of a damaged index into a valid index. Whole records stay byte for byte. Stop
// records that nothing needs are left out. Missing start, stop and channel records are added.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_INDEX_REWRITER_H_
#define RECORD_REPAIR_INDEX_REWRITER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/check/recorded_time.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/repair/repair_changes.h"

namespace kxrtc_host {

// What the new index contains.
struct KeptMedia {
  uint64_t records = 0;
  uint64_t video_frames = 0;
  uint64_t audio_frames = 0;
  uint64_t video_end = 0;  // End of the last frame, in ".264" and ".aac".
  uint64_t audio_end = 0;
  int64_t recorded_us = 0;  // See RecordedTime.
};

class IndexRewriter {
 public:
  // `changes` is borrowed. Media records must name bytes that the new data files have.
  explicit IndexRewriter(RepairChanges* changes)
      : written_(&no_data_, &no_data_), changes_(changes) {}

  // Appends the result for the next record to `*out`: nothing, the record, or added records too.
  void OnRecord(const IndexRecord& record, std::string* out);

  // `bytes` at `offset` of the index are left out.
  void OnGarbage(uint64_t offset, uint64_t bytes);

  // Closes an open session. `index_size`: where the old index ends.
  void Finish(uint64_t index_size, std::string* out);

  const std::vector<kxrtc::SpeakerRecordSession>& sessions() const { return sessions_; }
  bool contains_desktop() const { return contains_desktop_; }
  const KeptMedia& kept() const { return kept_; }

 private:
  void AddRecord(uint32_t type, int64_t time_us, uint64_t offset, const char* why,
                 std::string* out);
  void AddStop(uint64_t offset, const char* why, std::string* out);
  void Count(const IndexRecord& record);

  ReadOnlyFile no_data_;
  IndexState written_;  // State of the new index.
  RepairChanges* changes_;
  KeptMedia kept_;
  RecordedTime recorded_time_;
  std::vector<kxrtc::SpeakerRecordSession> sessions_;
  bool contains_desktop_ = false;
  int64_t last_time_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_INDEX_REWRITER_H_
