// Owning handles for the FFmpeg objects that only reading media needs.
#ifndef HOST_FFMPEG_FFMPEG_INPUT_HANDLES_H_
#define HOST_FFMPEG_FFMPEG_INPUT_HANDLES_H_

extern "C" {
#include <libavcodec/bsf.h>
#include <libavutil/dict.h>
#include <libswresample/swresample.h>
}

#include <memory>

#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

struct FormatInputFree {
  void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
struct InputBytesFree {
  void operator()(AVIOContext* bytes) const { avio_close(bytes); }
};
struct BitstreamFilterFree {
  void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
};
struct ResamplerFree {
  void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};

using FormatInputHandle = std::unique_ptr<AVFormatContext, FormatInputFree>;
using InputBytesHandle = std::unique_ptr<AVIOContext, InputBytesFree>;
using BitstreamFilterHandle = std::unique_ptr<AVBSFContext, BitstreamFilterFree>;
using ResamplerHandle = std::unique_ptr<SwrContext, ResamplerFree>;

// Options. After the call that uses them: the unknown ones.
class DictionaryHandle {
 public:
  DictionaryHandle() = default;
  ~DictionaryHandle() { av_dict_free(&dictionary_); }
  DictionaryHandle(const DictionaryHandle&) = delete;
  DictionaryHandle& operator=(const DictionaryHandle&) = delete;

  void Set(const char* name, const char* value) { av_dict_set(&dictionary_, name, value, 0); }
  AVDictionary** address() { return &dictionary_; }

 private:
  AVDictionary* dictionary_ = nullptr;
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_FFMPEG_INPUT_HANDLES_H_
