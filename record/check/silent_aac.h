// Silence as AAC.
// Threads: any.
#ifndef RECORD_CHECK_SILENT_AAC_H_
#define RECORD_CHECK_SILENT_AAC_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kxrtc_host {

// A raw frame without its ADTS header, for each of the audio object types 1 to 4 (Main, LC, SSR and
// LTP); empty unless IsAacChannelCount(channel_count).
std::vector<uint8_t> SilentAacFrame(uint32_t channel_count);

// The same, `size` bytes long by fill elements; empty if that is too short for it.
std::vector<uint8_t> SilentAacFrame(uint32_t channel_count, size_t size);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_SILENT_AAC_H_
