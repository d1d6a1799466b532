// What a repair left out, added or moved.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_REPAIR_CHANGES_H_
#define RECORD_REPAIR_REPAIR_CHANGES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kxrtc_host {

struct RepairChange {
  enum class Kind { kLost, kAdded, kMoved };
  Kind kind = Kind::kLost;
  uint64_t offset = 0;             // In the old index, or in the file that the text names.
  std::optional<int64_t> time_us;  // Recorder time, of the first of several.
  std::string text;
  uint64_t count = 1;  // Of the records or frames that the text is about.
};

// "lost", "added" or "moved".
const char* RepairChangeName(RepairChange::Kind kind);

// The changes in file order: the first kKept, how many there are, and the sums of their counts.
struct RepairChanges {
  static constexpr size_t kKept = 1000;
  void Add(RepairChange change);

  std::vector<RepairChange> kept;
  uint64_t changes = 0;
  uint64_t lost = 0;
  uint64_t added = 0;
  uint64_t moved = 0;
};

// Tells what happened to the frames of one data file: one change for a run of frames with the same
// fate.
class FrameFates {
 public:
  enum class Fate {
    kKept,
    kNotInFile,  // Its bytes are behind the end of the file.
    kNotFound,   // Other bytes are in its place.
    kTooLarge,   // Larger than any encoder makes a frame.
    kBeforeKey,  // No replay shows it: the first key frame of its channel comes later.
    kScattered,  // There are too many holes between the frames.
    kMoved,      // Kept; the bytes are off their place in the index.
    kFound,      // Added: a frame that the index does not name.
    kFoundLast,  // The same; nothing behind it shows where it ends.
  };

  // `name`: "video" or "audio"; `changes` is borrowed.
  FrameFates(const char* name, uint64_t file_size, RepairChanges* changes)
      : name_(name), file_size_(file_size), changes_(changes) {}

  struct Frame {
    uint64_t offset = 0;  // As in RepairChange.
    int64_t time_us = 0;
    uint64_t position = 0;  // As the index has it; of a found one, in its file.
    uint64_t size = 0;
  };

  // `shift`: of kMoved, from the place in the index. `remark`: ends the text of a found frame.
  void Add(Fate fate, const Frame& frame, int64_t shift = 0, const char* remark = "");

  // Ends the last run.
  void Finish();

  // How many frames are left out, of all runs that have ended.
  uint64_t lost() const { return lost_; }

 private:
  std::string Text() const;

  const char* name_;
  uint64_t file_size_;
  RepairChanges* changes_;
  Fate fate_ = Fate::kKept;
  int64_t shift_ = 0;
  const char* remark_ = "";
  Frame first_;
  int64_t last_us_ = 0;
  uint64_t count_ = 0;
  uint64_t lost_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_REPAIR_CHANGES_H_
