#include "host/ffmpeg/ffmpeg_encoder.h"

extern "C" {
#include <libavutil/dict.h>
}

#include <algorithm>
#include <memory>
#include <utility>

#include "host/ffmpeg/encoder_input.h"
#include "host/ffmpeg/ffmpeg_error_capture.h"
#include "host/ffmpeg/parameter_set_probe.h"

namespace kxrtc_host {
namespace {

constexpr int kSecondsBetweenKeyFrames = 4;

constexpr char kX264[] = "libx264";
constexpr char kNvenc[] = "h264_nvenc";
constexpr char kQsv[] = "h264_qsv";
constexpr char kVaapi[] = "h264_vaapi";

// The encoder's own options.
class EncoderOptions {
 public:
  EncoderOptions() = default;
  EncoderOptions(const EncoderOptions&) = delete;
  EncoderOptions& operator=(const EncoderOptions&) = delete;
  ~EncoderOptions() { av_dict_free(&dictionary_); }

  void Set(const char* name, const std::string& value) {
    av_dict_set(&dictionary_, name, value.c_str(), 0);
  }
  AVDictionary** dictionary() { return &dictionary_; }

 private:
  AVDictionary* dictionary_ = nullptr;
};

CodecContextHandle MakeContext(const AVCodec* codec, const EncoderSettings& settings) {
  CodecContextHandle context(avcodec_alloc_context3(codec));
  if (context == nullptr) return context;
  context->width = static_cast<int>(settings.width);
  context->height = static_cast<int>(settings.height);
  context->color_range = AVCOL_RANGE_MPEG;
  context->time_base = {1, static_cast<int>(settings.frame_rate)};
  context->framerate = {static_cast<int>(settings.frame_rate), 1};
  context->sample_aspect_ratio = {1, 1};
  context->gop_size = static_cast<int>(settings.frame_rate) * kSecondsBetweenKeyFrames;
  if (settings.quality == 0) {
    context->bit_rate = int64_t{settings.bit_rate_kbps} * 1000;
    context->rc_max_rate = context->bit_rate * 2;
    context->rc_buffer_size = static_cast<int>(std::min<int64_t>(context->bit_rate * 4, INT32_MAX));
  }
  context->thread_count = settings.threads;
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  return context;
}

// False: that encoder has no constant quality.
bool SetQuality(const std::string& name, uint32_t quality, AVCodecContext* context,
                EncoderOptions* options) {
  const std::string value = std::to_string(quality);
  if (name == kX264) {
    options->Set("crf", value);
  } else if (name == kNvenc) {
    options->Set("rc", "vbr");
    options->Set("cq", value);
  } else if (name == kVaapi) {
    options->Set("rc_mode", "CQP");
    options->Set("qp", value);
  } else if (name == kQsv) {
    context->global_quality = static_cast<int>(quality);
  } else {
    return false;
  }
  return true;
}

class FFmpegEncoder final : public H264Encoder {
 public:
  // False: `*obstacle` says why.
  bool Open(const AVCodec* codec, const EncoderSettings& settings, std::string* obstacle);

  int Send(const AVFrame* picture) override {
    const AVFrame* taken = nullptr;
    const int result = picture != nullptr ? input_.Take(*picture, &taken) : 0;
    return result < 0 ? result : avcodec_send_frame(context_.get(), taken);
  }
  bool Receive(AVPacket* packet) override {
    return avcodec_receive_packet(context_.get(), packet) >= 0;
  }
  std::string name() const override { return context_->codec->name; }
  std::vector<uint8_t> parameter_sets() const override { return parameter_sets_; }
  void set_parameter_sets(std::vector<uint8_t> sets) { parameter_sets_ = std::move(sets); }

 private:
  EncoderInput input_;
  CodecContextHandle context_;
  std::vector<uint8_t> parameter_sets_;
};

bool FFmpegEncoder::Open(const AVCodec* codec, const EncoderSettings& settings,
                         std::string* obstacle) {
  const std::string name = codec->name;
  if (!input_.Accepts(*codec)) {
    *obstacle = name + " does not accept pictures from memory";
    return false;
  }
  FFmpegErrorCapture capture;
  const auto refuse = [&](const std::string& otherwise) {
    const std::string& cause = capture.first_error();
    *obstacle = name + " does not start: " + (cause.empty() ? otherwise : cause);
    return false;
  };
  context_ = MakeContext(codec, settings);
  int result = context_ != nullptr ? input_.Prepare(context_.get()) : AVERROR(ENOMEM);
  if (result < 0) return refuse("no graphics card can be used: " + FFmpegErrorText(result));
  EncoderOptions options;
  if (name == kX264) options.Set("preset", settings.preset);
  if (settings.quality != 0 && !SetQuality(name, settings.quality, context_.get(), &options)) {
    *obstacle = name + " has no constant quality; choose a bit rate instead";
    return false;
  }
  result = avcodec_open2(context_.get(), codec, options.dictionary());
  if (result < 0) return refuse(FFmpegErrorText(result));
  parameter_sets_.assign(context_->extradata, context_->extradata + context_->extradata_size);
  return true;
}

class FFmpegEncoderOpener final : public EncoderOpener {
 public:
  std::unique_ptr<H264Encoder> Open(const std::string& name, const EncoderSettings& settings,
                                    std::string* obstacle) const override {
    const AVCodec* const codec = avcodec_find_encoder_by_name(name.c_str());
    if (codec == nullptr || codec->id != AV_CODEC_ID_H264) {
      *obstacle = "this FFmpeg has no H.264 encoder " + name;
      return nullptr;
    }
    auto encoder = std::make_unique<FFmpegEncoder>();
    if (!encoder->Open(codec, settings, obstacle)) return nullptr;
    if (!encoder->parameter_sets().empty()) return encoder;
    // It writes them into the stream only: one encoder tells them, another one is used.
    std::vector<uint8_t> sets = ProbeParameterSets(encoder.get(), settings);
    if (sets.empty()) {
      *obstacle = name + " does not start: it has no parameter sets";
      return nullptr;
    }
    encoder = std::make_unique<FFmpegEncoder>();
    if (!encoder->Open(codec, settings, obstacle)) return nullptr;
    encoder->set_parameter_sets(std::move(sets));
    return encoder;
  }
};

}  // namespace

const EncoderOpener& FFmpegEncoders() {
  static const FFmpegEncoderOpener opener;
  return opener;
}

}  // namespace kxrtc_host
