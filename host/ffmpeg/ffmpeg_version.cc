#include "host/ffmpeg/ffmpeg_version.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace kxrtc_host {
namespace {

std::string Named(const char* name, unsigned version) {
  return std::string(name) + " " + std::to_string(AV_VERSION_MAJOR(version)) + "." +
         std::to_string(AV_VERSION_MINOR(version)) + "." +
         std::to_string(AV_VERSION_MICRO(version));
}

}  // namespace

std::string FFmpegVersion() {
  return std::string(av_version_info()) + " (" + Named("libavcodec", avcodec_version()) + ", " +
         Named("libavformat", avformat_version()) + ", " + Named("libavutil", avutil_version()) +
         ", " + Named("libswresample", swresample_version()) + ", " +
         Named("libswscale", swscale_version()) + ")";
}

}  // namespace kxrtc_host
