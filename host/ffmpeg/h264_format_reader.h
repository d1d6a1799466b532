// Reads the format of H.264 pictures with FFmpeg's parser.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_FFMPEG_H264_FORMAT_READER_H_
#define HOST_FFMPEG_H264_FORMAT_READER_H_

#include "record/check/parameter_set_examiner.h"

namespace kxrtc_host {

class H264FormatReader final : public ParameterSetExaminer {
 public:
  [[nodiscard]] std::optional<VideoFormat> Examine(const uint8_t* data, uint32_t size) override;
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_H264_FORMAT_READER_H_
