// Reads a descriptor of any condition and compares it with what the index holds.
// Threads: any.
#ifndef HOST_RECORD_DESCRIPTOR_CHECK_H_
#define HOST_RECORD_DESCRIPTOR_CHECK_H_

#include <cstdint>
#include <optional>

#include "host/record/record_file.h"
#include "host/record/record_summary.h"

namespace kxrtc_host {

// A whole descriptor of `sessions` sessions is never larger; nothing larger is parsed.
uint64_t MaxDescriptorSize(uint64_t sessions);

// Stores the findings about the descriptor, errors exactly where the library's reader refuses it,
// and `summary->descriptor`. The sessions are compared with those that the summary holds already.
void CheckDescriptor(const RecordFile& file, RecordSummary* summary);

// The channel counts that AAC can state without a table of its own (ISO/IEC 14496-3, table 1.19).
inline constexpr uint32_t kMinAudioChannels = 1;
inline constexpr uint32_t kMaxAudioChannels = 8;

// The member that holds the channel count.
struct AudioChannelMember {
  uint64_t offset = 0;            // Of its value in the file.
  std::optional<uint32_t> count;  // None where it is no number from the least to the most.
};

// Only that member, from whatever parses; none where there is none.
std::optional<AudioChannelMember> ReadAudioChannelMember(const RecordFile& file, uint64_t sessions);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_DESCRIPTOR_CHECK_H_
