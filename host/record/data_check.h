// Checks the places that the data records of one data file name: inside the file, one behind the
// other, and up to its end.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_DATA_CHECK_H_
#define HOST_RECORD_DATA_CHECK_H_

#include <cstdint>
#include <optional>

#include "host/record/finding.h"
#include "host/record/index_walker.h"

namespace kxrtc_host {

class DataCheck {
 public:
  // `name`: the file's extension for the texts; `findings` is borrowed.
  DataCheck(const char* name, uint64_t file_size, FindingList* findings)
      : name_(name), file_size_(file_size), findings_(findings) {}

  // True when the frame lies inside the file.
  bool OnRecord(const IndexRecord& record);

  void Finish();

  // One behind the last byte of any frame that lies inside the file.
  uint64_t end() const { return end_; }

 private:
  const char* name_;
  uint64_t file_size_;
  FindingList* findings_;
  uint64_t end_ = 0;
  std::optional<int64_t> last_time_us_;  // Of the last record, also of one behind the end.
};

// True when all bytes of the frame lie before `file_size`.
bool LiesInside(const kxrtc::MediaDataRecord& record, uint64_t file_size);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_DATA_CHECK_H_
