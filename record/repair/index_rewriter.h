// Turns the records of a damaged index into a valid index. Whole records stay byte for byte.
// Records that no replay can use are left out. Missing start, stop and channel records are added.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_INDEX_REWRITER_H_
#define RECORD_REPAIR_INDEX_REWRITER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

// One thing that repair left out or added.
struct RepairChange {
  enum class Kind { kLost, kAdded };
  Kind kind = Kind::kLost;
  uint64_t offset = 0;             // In the old index, or in the file that the text names.
  std::optional<int64_t> time_us;  // Recorder time.
  std::string text;
};

// The changes in file order: the first kKept, and how many there are.
struct RepairChanges {
  static constexpr size_t kKept = 1000;
  void Add(RepairChange change);

  std::vector<RepairChange> kept;
  uint64_t lost = 0;
  uint64_t added = 0;
};

// What the new index contains.
struct KeptMedia {
  uint64_t records = 0;
  uint64_t video_frames = 0;
  uint64_t audio_frames = 0;
  uint64_t video_end = 0;  // End of the last frame, in ".264" and ".aac".
  uint64_t audio_end = 0;
};

class IndexRewriter {
 public:
  // All are borrowed; a data file may be missing.
  IndexRewriter(const ReadOnlyFile* video, const ReadOnlyFile* audio, RepairChanges* changes)
      : video_(video), audio_(audio), written_(video, audio), changes_(changes) {}

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
  bool KeepsMedia(const IndexRecord& record);
  void AddRecord(uint32_t type, int64_t time_us, uint64_t offset, const char* why,
                 std::string* out);
  void AddStop(uint64_t offset, const char* why, std::string* out);
  void Count(const IndexRecord& record);

  const ReadOnlyFile* video_;
  const ReadOnlyFile* audio_;
  IndexState written_;  // State of the new index.
  RepairChanges* changes_;
  KeptMedia kept_;
  std::vector<kxrtc::SpeakerRecordSession> sessions_;
  bool contains_desktop_ = false;
  int64_t last_time_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_INDEX_REWRITER_H_
