// Lists the records of an index as text or as a JSON document, one line each, however many.
// Threads: any; blocks while it reads.
#ifndef HOST_RECORD_RECORD_DUMP_H_
#define HOST_RECORD_RECORD_DUMP_H_

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

namespace kxrtc_host {

// Bytes that are no record are shown where the record before them is. At the start of the index,
// where none is, they count as earlier than everything: they are shown when `from_us` is not later
// than the first record, or is left as it is.
struct DumpOptions {
  int64_t from_us = std::numeric_limits<int64_t>::min();  // Recorder time, both included.
  int64_t to_us = std::numeric_limits<int64_t>::max();
  bool json = false;
};

struct DumpResult {
  bool readable = false;  // There is an index.
  bool whole = false;     // And it holds whole records up to its end.
  std::string error;      // Why it is not readable.
};

// Writes the list to `out`.
DumpResult DumpRecord(const std::string& folder, const DumpOptions& options, std::FILE* out);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_RECORD_DUMP_H_
