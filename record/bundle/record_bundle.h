// Packs what support needs of a record, and nothing private: see docs/tool_bundle.md.
// Threads: any; blocks while it works.
#ifndef RECORD_BUNDLE_RECORD_BUNDLE_H_
#define RECORD_BUNDLE_RECORD_BUNDLE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/is_wanted.h"
#include "record/bundle/archive_sink.h"
#include "record/check/damaged_sound.h"
#include "record/check/record_summary.h"
#include "record/repair/record_repair.h"

namespace kxrtc_host {

// What was found out about the record. `summary` and `damaged_sound` are borrowed.
struct BundleInput {
  std::string folder;
  const RecordSummary* summary = nullptr;
  const DamagedSound* damaged_sound = nullptr;
  std::optional<RepairResult> preview;  // As for VerifyDocument().
  std::string versions;                 // A JSON document.
};

struct PackedFile {
  std::string name;
  uint64_t bytes = 0;
};

struct BundleResult {
  bool packed = false;
  bool record_failed = false;  // A file of the record cannot be read to its end.
  std::string error;
  std::vector<PackedFile> files;
};

// Packs into `archive`. The same record gives the same calls each time. A file that cannot be
// opened is left out.
BundleResult PackRecord(const BundleInput& input, const IsWanted& is_wanted, ArchiveSink* archive);

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_RECORD_BUNDLE_H_
