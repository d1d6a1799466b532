// Turns the records of a torn index into those of a valid one: what is whole stays byte for byte,
// what no replay can use is left out, and missing start, stop and channel records are added.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_INDEX_REWRITER_H_
#define HOST_RECORD_INDEX_REWRITER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/record/index_walker.h"
#include "kxrtc/recording/speaker_record_descriptor.h"

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

// What stays.
struct KeptMedia {
  uint64_t records = 0;
  uint64_t video_frames = 0;
  uint64_t audio_frames = 0;
  uint64_t video_end = 0;  // One behind the last byte of any frame, in ".264" and ".aac".
  uint64_t audio_end = 0;
};

class IndexRewriter {
 public:
  // The sizes are those of the data files, 0 for a missing one. `changes` is borrowed.
  IndexRewriter(uint64_t video_size, uint64_t audio_size, RepairChanges* changes)
      : video_size_(video_size), audio_size_(audio_size), changes_(changes) {}

  // Appends what the next record becomes to `*out`: nothing, the record, or more than it.
  void OnRecord(const IndexRecord& record, std::string* out);

  // `bytes` at `offset` of the index are left out.
  void OnGarbage(uint64_t offset, uint64_t bytes);

  // Closes an open session. `index_size`: where the old index ends.
  void Finish(uint64_t index_size, std::string* out);

  const std::vector<kxrtc::SpeakerRecordSession>& sessions() const { return sessions_; }
  bool has_too_many_sessions() const { return has_too_many_sessions_; }
  bool contains_desktop() const { return contains_desktop_; }
  const KeptMedia& kept() const { return kept_; }

 private:
  bool KeepsMedia(const IndexRecord& record);
  void Start(int64_t time_us);
  void AddRecord(uint32_t type, int64_t time_us, uint64_t offset, const char* why,
                 std::string* out);
  void AddStop(uint64_t offset, const char* why, std::string* out);
  void Count(const IndexRecord& record);

  uint64_t video_size_;
  uint64_t audio_size_;
  RepairChanges* changes_;
  KeptMedia kept_;
  std::vector<kxrtc::SpeakerRecordSession> sessions_;
  bool has_too_many_sessions_ = false;
  bool in_session_ = false;
  bool contains_desktop_ = false;
  uint32_t media_type_ = 0;
  int64_t last_time_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_RECORD_INDEX_REWRITER_H_
