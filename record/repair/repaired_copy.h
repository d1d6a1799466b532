// A repaired copy of a record that is needed for a while only, beside what is made of it.
// Threads: an object belongs to one thread at a time; blocks while it works.
#ifndef RECORD_REPAIR_REPAIRED_COPY_H_
#define RECORD_REPAIR_REPAIRED_COPY_H_

#include <string>

#include "files/is_wanted.h"
#include "record/repair/record_repair.h"

namespace kxrtc_host {

// Its folder is hidden, has a temporary name, so that FindRecords() passes over it, and is removed
// with the object.
class RepairedCopy {
 public:
  RepairedCopy() = default;
  ~RepairedCopy();
  RepairedCopy(const RepairedCopy&) = delete;
  RepairedCopy& operator=(const RepairedCopy&) = delete;

  // Repairs the record in the folder `source` for the file `output`. Call once.
  RepairResult Make(const std::string& source, const std::string& output,
                    const IsWanted& is_wanted);

  // Of the copy, with its separator.
  const std::string& folder() const { return folder_; }

  // Removes what killed programs left for `output`.
  static void RemoveAbandoned(const std::string& output);

 private:
  std::string parent_;  // Holds the copy alone.
  int descriptor_ = -1;
  std::string folder_;
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_REPAIRED_COPY_H_
