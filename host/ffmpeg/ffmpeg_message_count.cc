#include "host/ffmpeg/ffmpeg_message_count.h"

extern "C" {
#include <libavutil/log.h>
}

namespace kxrtc_host {
namespace {

thread_local uint64_t counted_messages = 0;

}  // namespace

void CountFFmpegMessage(int level) {
  const bool is_counted = level >= kCountedLevelOffset;
  if (is_counted && level - kCountedLevelOffset <= AV_LOG_WARNING) ++counted_messages;
}

uint64_t CountedFFmpegMessages() { return counted_messages; }

}  // namespace kxrtc_host
