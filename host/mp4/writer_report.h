// Where the parts of one MP4 writer tell what becomes of its file.
#ifndef HOST_MP4_WRITER_REPORT_H_
#define HOST_MP4_WRITER_REPORT_H_

#include <cstdint>
#include <string>

#include "files/output_file.h"
#include "host/mp4/writer_status.h"

namespace kxrtc_host {

// Collects the outcome of one run: every part of the writer holds a reference. Each text is logged
// as well.
// Threads: one at a time.
class WriterReport {
 public:
  // Keeps the first failure only: what follows is its consequence. Always false.
  bool Fail(WriterFailure failure, const std::string& text);

  // The same with what ended the writing of `file`: a failure, or a request to stop.
  bool FailFile(const OutputFile& file);

  void Warn(const std::string& text);

  // `time`, or the one after `last` where it is not later than that, which is counted.
  int64_t Raised(int64_t time, int64_t last);

  bool failed() const { return status.failure != WriterFailure::kNone; }

  Mp4WriterStatus status;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_WRITER_REPORT_H_
