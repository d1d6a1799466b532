// Repairs a damaged record: writes a valid record to a new folder. The source is only read.
// Threads: any; blocks while it works.
#ifndef RECORD_REPAIR_RECORD_REPAIR_H_
#define RECORD_REPAIR_RECORD_REPAIR_H_

#include <cstdint>
#include <optional>
#include <string>

#include "files/is_wanted.h"
#include "record/check/record_summary.h"
#include "record/repair/index_rewriter.h"

namespace kxrtc_host {

struct RepairOptions {
  // Overrides what the record says; see IsAacChannelCount().
  std::optional<uint32_t> audio_channels;
  bool sync = true;  // Wait until the new record is on the disk.
  IsWanted is_wanted;
};

// Where the channel count of the new descriptor comes from.
enum class ChannelSource { kNone, kOption, kDescriptor, kAudioFrames, kNoSound };

// "", "option", "descriptor", "audio frames", "lack of sound".
const char* ChannelSourceName(ChannelSource source);

struct RepairResult {
  bool repaired = false;
  bool source_refused = false;  // A file of the source cannot be read to its end.
  bool target_refused = false;  // The target exists, is inside the source or cannot be created.
  bool target_failed = false;   // Writing failed half-way.
  bool lacks_channels = false;  // Nothing but the option gives the channel count.
  std::string error;            // Why it was not repaired.
  std::string warning;          // What the user of the repaired record must know; empty: nothing.
  RepairChanges changes;        // Empty: index and data are copied unchanged.
  KeptMedia kept;
  int64_t recorded_us = 0;  // Like that of `kept`, with the frames that are left out.
  uint64_t lost_video_frames = 0;
  uint64_t lost_audio_frames = 0;
  uint64_t sessions = 0;
  uint32_t audio_channels = 0;
  ChannelSource channel_source = ChannelSource::kNone;
};

// Writes the repaired record to the new folder `target`, which appears only when it is complete and
// on the disk. On failure there is no target, and `error` says why.
RepairResult RepairRecord(const std::string& source, const std::string& target,
                          const RepairOptions& options);

// What RepairRecord() would answer, found without writing anything. The data files are not read
// where the index describes them exactly.
RepairResult PreviewRepair(const std::string& source, const RepairOptions& options);

// True when kxrtc transcode does not make an MP4 of the whole record, and a repair may change that.
bool MayHelpRepair(const RecordSummary& summary);

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_RECORD_REPAIR_H_
