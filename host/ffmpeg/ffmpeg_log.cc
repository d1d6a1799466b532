#include "host/ffmpeg/ffmpeg_log.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <cstring>

#include "host/ffmpeg/ffmpeg_error_capture.h"
#include "host/ffmpeg/ffmpeg_message_count.h"
#include "kx_utility/failure_log.h"

namespace kxrtc_host {
namespace {

constexpr int kMaxMessage = 1024;

void LogFFmpegMessage(void* object, int level, const char* format, va_list arguments) {
  CountFFmpegMessage(level);
  if (level > AV_LOG_WARNING) return;
  // A message may come in pieces; the last one ends in a newline. Each thread has its own buffer,
  // of a type without destructor, because FFmpeg may log while a thread ends.
  thread_local char message[kMaxMessage];
  thread_local size_t length = 0;
  thread_local int is_at_start = 1;
  av_log_format_line2(object, level, format, arguments, message + length,
                      static_cast<int>(sizeof(message) - length), &is_at_start);
  length += std::strlen(message + length);
  const bool is_full = length + 1 == sizeof(message);
  if (length == 0 || (message[length - 1] != '\n' && !is_full)) return;
  while (length != 0 && message[length - 1] == '\n') message[--length] = '\0';
  FFmpegErrorCapture::Note(level, message);
  kx_utility::LogFormatted(kx_utility::LS_WARNING, kx_utility::Here(), "FFmpeg: %s", message);
  length = 0;
}

}  // namespace

void SendFFmpegLogToLibraryLog() { av_log_set_callback(LogFFmpegMessage); }

}  // namespace kxrtc_host
