// The destination of FFmpeg's messages.
#ifndef HOST_FFMPEG_FFMPEG_LOG_H_
#define HOST_FFMPEG_FFMPEG_LOG_H_

#include "kx_utility/export.h"

namespace kxrtc_host {

// Sends FFmpeg's warnings and errors to the library's log as LS_WARNING instead of to standard
// error, for the whole process from now on. They are only warnings because none of them ends a run.
// Any thread.
KX_EXPORT void SendFFmpegLogToLibraryLog();

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_FFMPEG_LOG_H_
