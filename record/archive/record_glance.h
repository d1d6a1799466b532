// What can be told of a record by the sizes of its files and the two ends of its index.
// Threads: any; blocks while it reads.
#ifndef RECORD_ARCHIVE_RECORD_GLANCE_H_
#define RECORD_ARCHIVE_RECORD_GLANCE_H_

#include <cstdint>
#include <optional>
#include <string>

namespace kxrtc_host {

enum class RecordState {
  kComplete,  // Begins with a start and ends with a stop.
  kTorn,      // Ends otherwise: the recording was killed, or goes on.
  kDamaged,   // A file is missing, or the index does not fit it.
  kEmpty,     // No media.
};

// "complete", "torn", "damaged" or "empty".
const char* RecordStateName(RecordState state);

// None for a file that is missing, a link or not a regular file.
struct GlancedSizes {
  std::optional<uint64_t> index;
  std::optional<uint64_t> video;
  std::optional<uint64_t> audio;
  std::optional<uint64_t> descriptor;
  std::optional<uint64_t> timeline;

  uint64_t Sum() const;
};

struct RecordGlance {
  RecordState state = RecordState::kDamaged;
  std::string problem;  // Why it is damaged, else empty.
  GlancedSizes sizes;
  int64_t length_us = 0;  // Recorder time; of a damaged record 0 where nothing tells it.
};

// `folder`: an open folder. Reads at most some kilobytes of index and descriptor, and follows no
// link.
RecordGlance GlanceAtRecord(int folder);

}  // namespace kxrtc_host

#endif  // RECORD_ARCHIVE_RECORD_GLANCE_H_
