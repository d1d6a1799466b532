// Counts messages of FFmpeg that nobody needs to read.
// Threads: any; each thread has its own count.
#ifndef HOST_FFMPEG_FFMPEG_MESSAGE_COUNT_H_
#define HOST_FFMPEG_FFMPEG_MESSAGE_COUNT_H_

#include <cstdint>

namespace kxrtc_host {

// For AVCodecContext::log_level_offset: warnings and errors of this codec are counted, not logged.
inline constexpr int kCountedLevelOffset = 128;

// For the receiver of FFmpeg's log: counts a message of such a level.
void CountFFmpegMessage(int level);

// The number so far in this thread. Needs SendFFmpegLogToLibraryLog(); without it, 0.
uint64_t CountedFFmpegMessages();

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_FFMPEG_MESSAGE_COUNT_H_
