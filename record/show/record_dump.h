// Lists the records of an index, and the speaker timeline beside it, as text or as a JSON document,
// one line each, however many.
// Threads: any; blocks while it reads.
#ifndef RECORD_SHOW_RECORD_DUMP_H_
#define RECORD_SHOW_RECORD_DUMP_H_

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

namespace kxrtc_host {

// Bytes that are not a record are shown together with the record before them. At the start of the
// index they are shown when `from_us` is not later than the first record, or has its default.
struct DumpOptions {
  int64_t from_us = std::numeric_limits<int64_t>::min();  // Recorder time, both included.
  int64_t to_us = std::numeric_limits<int64_t>::max();
  bool json = false;
  // How the text shows what people wrote, such as names; null: as it is.
  std::string (*show_text)(const std::string&) = nullptr;
};

struct DumpResult {
  bool readable = false;  // There is an index.
  bool whole = false;     // It contains only whole records.
  std::string error;      // Why it is not readable.
};

// Writes the list to `out`.
DumpResult DumpRecord(const std::string& folder, const DumpOptions& options, std::FILE* out);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_RECORD_DUMP_H_
