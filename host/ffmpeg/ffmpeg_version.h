// The versions of FFmpeg's libraries.
// Threads: any.
#ifndef HOST_FFMPEG_FFMPEG_VERSION_H_
#define HOST_FFMPEG_FFMPEG_VERSION_H_

#include <string>

namespace kxrtc_host {

// Of those in use: "5.1.6 (libavcodec 59.37.100, ...)".
std::string FFmpegVersion();

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_FFMPEG_VERSION_H_
