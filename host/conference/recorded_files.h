// Looks at the four files of a record while the recorder writes them and when it has closed them.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_RECORDED_FILES_H_
#define HOST_CONFERENCE_RECORDED_FILES_H_

#include <string>

#include "host/conference/recording_watch.h"
#include "record/index/record_files.h"

namespace kxrtc_host {

class RecordedFiles {
 public:
  // Remembers the files of the record in `folder`, which the recorder has just created. On false
  // `*error` is one line.
  [[nodiscard]] bool Open(const std::string& folder, std::string* error);

  // Why a name does not lead to its file any more, in one line; empty when each one does.
  std::string FindMissing() const;

  // Syncs the closed files to the disk and compares them with what the recorder has reported. The
  // first difference in one line; empty when there is none.
  std::string FindDamage(const RecordCounts& counts) const;

 private:
  std::string folder_;
  RecordFiles files_;  // Keep the files from being replaced unseen, also when they are removed.
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_RECORDED_FILES_H_
