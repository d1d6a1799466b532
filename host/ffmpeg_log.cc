#include "host/ffmpeg_log.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <string>

#include "kx_utility/failure_log.h"

namespace kxrtc_host {
namespace {

constexpr int kMaxMessage = 1024;

void LogFFmpegMessage(void* object, int level, const char* format, va_list arguments) {
  if (level > AV_LOG_WARNING) return;
  // A message may come in pieces, each thread its own; the last one ends in a newline.
  thread_local std::string message;
  thread_local int is_at_start = 1;
  char piece[kMaxMessage];
  av_log_format_line2(object, level, format, arguments, piece, sizeof(piece), &is_at_start);
  message += piece;
  if (message.empty() || (message.back() != '\n' && message.size() < kMaxMessage)) return;
  while (!message.empty() && message.back() == '\n') message.pop_back();
  kx_utility::LogFormatted(kx_utility::LS_WARNING, kx_utility::Here(), "FFmpeg: %s",
                           message.c_str());
  message.clear();
}

}  // namespace

void SendFFmpegLogToLibraryLog() { av_log_set_callback(LogFFmpegMessage); }

}  // namespace kxrtc_host
