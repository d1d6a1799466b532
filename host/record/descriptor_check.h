// Reads a descriptor of any condition and compares it with what the index holds.
// Threads: any.
#ifndef HOST_RECORD_DESCRIPTOR_CHECK_H_
#define HOST_RECORD_DESCRIPTOR_CHECK_H_

#include <cstdint>
#include <optional>

#include "host/record/record_file.h"
#include "host/record/record_summary.h"

namespace kxrtc_host {

// A descriptor of `sessions` sessions as recorders write it is never larger; nothing larger is
// parsed, though the library's reader takes up to kxrtc::kMaxDescriptorSize.
uint64_t MaxDescriptorSize(uint64_t sessions);

// Stores the findings about the descriptor, errors exactly where the library's reader refuses it as
// far as it is parsed, and `summary->descriptor`. The sessions are compared with those that the
// summary holds already.
void CheckDescriptor(const RecordFile& file, RecordSummary* summary);

// The member that holds the channel count.
struct AudioChannelMember {
  uint64_t offset = 0;            // Of its value in the file.
  std::optional<uint32_t> count;  // None where it is no number of channels that AAC can have.
};

// Only that member, from whatever parses; none where there is none.
std::optional<AudioChannelMember> ReadAudioChannelMember(const RecordFile& file, uint64_t sessions);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_DESCRIPTOR_CHECK_H_
