// Where FFmpeg's own messages go.
#ifndef HOST_FFMPEG_LOG_H_
#define HOST_FFMPEG_LOG_H_

namespace kxrtc_host {

// Sends FFmpeg's warnings and errors into the library's log as LS_WARNING instead of to standard
// error, for the whole process and from now on: none of them ends a run by itself. Any thread.
void SendFFmpegLogToLibraryLog();

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_LOG_H_
