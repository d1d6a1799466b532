// Hands the tags of an MP4 to libavformat.
// Threads: any.
#ifndef HOST_MP4_TAG_WRITER_H_
#define HOST_MP4_TAG_WRITER_H_

#include <cstdint>
#include <vector>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "host/mp4/mp4_tags.h"

namespace kxrtc_host {

// Players read chapters from a track of text, or from a list that ends after so many.
inline constexpr size_t kMaxListedChapters = 255;

// What the tags need in the index of the file, an upper bound.
uint64_t TagBytes(const Mp4Tags& tags);

// Title and time, before the header is written. False: out of memory.
[[nodiscard]] bool AddMetadata(const Mp4Tags& tags, AVFormatContext* format);

// The chapters, between the last sample and the index: in microseconds of the file, by their start,
// the last one up to `end_us`. When the list cannot hold all there is only the track. False: out of
// memory.
[[nodiscard]] bool AddChapters(const std::vector<Chapter>& chapters, int64_t end_us,
                               AVFormatContext* format);

}  // namespace kxrtc_host

#endif  // HOST_MP4_TAG_WRITER_H_
