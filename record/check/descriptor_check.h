// Reads a descriptor, valid or not, and compares it with the index.
// Threads: any.
#ifndef RECORD_CHECK_DESCRIPTOR_CHECK_H_
#define RECORD_CHECK_DESCRIPTOR_CHECK_H_

#include <cstdint>
#include <optional>

#include "files/read_only_file.h"
#include "record/check/record_summary.h"

namespace kxrtc_host {

// No recorder writes a larger descriptor for `sessions` sessions. A larger one is not parsed here,
// although the library's reader accepts it: memory stays in proportion to the index.
uint64_t MaxDescriptorSize(uint64_t sessions);

// Stores `summary->descriptor` and the findings about the descriptor. What the library's reader
// refuses is an error here. Compares the sessions with those already in the summary.
void CheckDescriptor(const ReadOnlyFile& file, RecordSummary* summary);

// The member that holds the channel count.
struct AudioChannelMember {
  uint64_t offset = 0;            // Of its value in the file.
  std::optional<uint32_t> count;  // None when AAC cannot have this number of channels.
};

// The sums over the sessions that a descriptor lists.
struct DescribedMedia {
  uint64_t video_frames = 0;
  uint64_t audio_frames = 0;
  int64_t duration_us = 0;
};

// What a repair takes from a descriptor, from any document that can be parsed. Members that are
// missing or not valid are left out.
struct DescriptorRemains {
  std::optional<AudioChannelMember> audio_channels;
  std::optional<DescribedMedia> media;  // None without a list of sessions.
};

DescriptorRemains ReadDescriptorRemains(const ReadOnlyFile& file, uint64_t sessions);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_DESCRIPTOR_CHECK_H_
