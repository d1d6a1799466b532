// Makes a valid record out of a torn one, in a new folder. The source is only read.
// Threads: any; blocks while it works.
#ifndef HOST_RECORD_RECORD_REPAIR_H_
#define HOST_RECORD_RECORD_REPAIR_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/record/index_rewriter.h"

namespace kxrtc_host {

struct RepairOptions {
  // Overrides what the record says; see IsAacChannelCount().
  std::optional<uint32_t> audio_channels;
  bool sync = true;                 // Wait until the new record is on the disk.
  std::function<bool()> is_wanted;  // Asked now and then; false ends the work.
};

// Where the channel count of the new descriptor comes from.
enum class ChannelSource { kNone, kOption, kDescriptor, kAudioFrames };

// "", "option", "descriptor", "audio frames".
const char* ChannelSourceName(ChannelSource source);

struct RepairResult {
  bool repaired = false;
  bool source_refused = false;  // A file of it cannot be read, or not to its end.
  bool target_refused = false;  // It exists, lies in the source or cannot be begun.
  bool target_failed = false;   // Writing it failed half-way.
  std::string error;            // Why not.
  RepairChanges changes;        // None: index and data are byte for byte those of the source.
  KeptMedia kept;
  uint64_t sessions = 0;
  uint32_t audio_channels = 0;
  ChannelSource channel_source = ChannelSource::kNone;
};

// Writes the repaired record to the new folder `target`, which appears only when it is complete and
// on the disk. On failure there is no target and the result tells why.
RepairResult RepairRecord(const std::string& source, const std::string& target,
                          const RepairOptions& options);

// The text of a descriptor, the same as the library's writer makes of the same sessions.
std::string RenderDescriptor(const kxrtc::SpeakerRecordOverall& overall,
                             const std::vector<kxrtc::SpeakerRecordSession>& sessions);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_RECORD_REPAIR_H_
