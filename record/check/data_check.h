// Checks the positions in the data records of one data file: inside the file, in sequence, and up
// to its end. Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_DATA_CHECK_H_
#define RECORD_CHECK_DATA_CHECK_H_

#include <cstdint>
#include <optional>

#include "record/check/finding.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

class DataCheck {
 public:
  // `name`: the file's extension for the texts; `findings` is borrowed.
  DataCheck(const char* name, uint64_t file_size, FindingList* findings)
      : name_(name), file_size_(file_size), findings_(findings) {}

  void OnRecord(const IndexRecord& record, FramePlace place);

  void Finish();

  // End of the last frame that is inside the file.
  uint64_t end() const { return end_; }

 private:
  const char* name_;
  uint64_t file_size_;
  FindingList* findings_;
  uint64_t end_ = 0;
  std::optional<int64_t> last_time_us_;  // Of the last record, even if its frame is missing.
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_DATA_CHECK_H_
