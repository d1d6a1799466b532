#include "host/ffmpeg/ffmpeg_error_capture.h"

extern "C" {
#include <libavutil/log.h>
}

namespace kxrtc_host {
namespace {

thread_local FFmpegErrorCapture* present = nullptr;

// "[h264_nvenc @ 0x5581] Cannot load libcuda.so.1" -> "Cannot load libcuda.so.1".
std::string WithoutAddress(std::string line) {
  const size_t end = line.rfind("] ");
  if (line.rfind('[', 0) == 0 && line.find(" @ 0x") < end && end != std::string::npos) {
    line.erase(0, end + 2);
  }
  while (!line.empty() && (line.back() == '.' || line.back() == ' ')) line.pop_back();
  return line;
}

}  // namespace

FFmpegErrorCapture::FFmpegErrorCapture() { present = this; }

FFmpegErrorCapture::~FFmpegErrorCapture() { present = nullptr; }

void FFmpegErrorCapture::Note(int level, const char* line) {
  if (present == nullptr || level > AV_LOG_ERROR || !present->first_error_.empty()) return;
  present->first_error_ = WithoutAddress(line);
}

}  // namespace kxrtc_host
