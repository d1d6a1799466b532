#include "host/conference/media_source.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/time.h>
}

#include <algorithm>

namespace kxrtc_host {
namespace {

constexpr AVRational kMicroseconds = {1, AV_TIME_BASE};
constexpr double kDefaultFrameRate = 25;

// Protocols for a session description and for a live address.
constexpr char kLiveProtocols[] = "file,crypto,data,udp,rtp,tcp,tls,http,https,srt,rtmp,rtsp";

const char* CodecName(const AVStream* stream) {
  return avcodec_get_name(stream->codecpar->codec_id);
}

AVStream* BestStream(AVFormatContext* input, AVMediaType type) {
  const int index = av_find_best_stream(input, type, -1, -1, nullptr, 0);
  if (index < 0) return nullptr;
  AVStream* const stream = input->streams[index];
  return stream->disposition & AV_DISPOSITION_ATTACHED_PIC ? nullptr : stream;
}

void SetLiveOptions(DictionaryHandle* options) {
  options->Set("protocol_whitelist", kLiveProtocols);
  options->Set("buffer_size", "2097152");  // Of the socket, in bytes: key frames come in bursts.
  options->Set("overrun_nonfatal", "1");
  options->Set("fifo_size", "65536");
}

}  // namespace

MediaSource::~MediaSource() { Close(); }

int MediaSource::ShouldStop(void* self) {
  const auto* const source = static_cast<const MediaSource*>(self);
  if (source->interrupted_.load(std::memory_order_acquire)) return 1;
  const int64_t deadline = source->deadline_us_.load(std::memory_order_relaxed);
  return deadline != 0 && av_gettime_relative() > deadline;
}

void MediaSource::Close() {
  Reset();
  interrupted_.store(false, std::memory_order_release);
}

void MediaSource::Reset() {
  input_.reset();
  video_ = nullptr;
  audio_ = nullptr;
  reorder_us_ = -1;
  next_video_us_ = 0;
  reorders_ = false;
}

MediaProblem MediaSource::Open(const MediaSpec& media, const MediaNeeds& needs, int64_t timeout_us,
                               std::string* error) {
  Reset();
  const auto unreadable = [&](const std::string& why) {
    *error = media.source + ": " + why;
    Reset();
    return MediaProblem::kUnreadable;
  };
  const AVInputFormat* format = nullptr;
  if (!media.format.empty()) {
    format = av_find_input_format(media.format.c_str());
    if (format == nullptr) return unreadable("unknown format \"" + media.format + "\"");
  }
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) return unreadable("out of memory");
  context->interrupt_callback = {ShouldStop, this};
  deadline_us_.store(av_gettime_relative() + timeout_us, std::memory_order_relaxed);
  DictionaryHandle options;
  if (media.live) SetLiveOptions(&options);
  frame_rate_ = media.frame_rate > 0 ? media.frame_rate : kDefaultFrameRate;
  if (media.frame_rate > 0) options.Set("framerate", std::to_string(media.frame_rate).c_str());
  const int opened = avformat_open_input(&context, media.source.c_str(), format, options.address());
  input_.reset(opened < 0 ? nullptr : context);  // A failed open has freed the context.
  const auto reason = [&](int code) {
    return code == AVERROR_EXIT ? "no data within the time allowed" : FFmpegErrorText(code);
  };
  if (opened < 0) return unreadable("cannot be opened: " + reason(opened));
  const int found = avformat_find_stream_info(input_.get(), nullptr);
  if (found < 0) return unreadable("cannot be read: " + reason(found));
  const MediaProblem problem = FindStreams(media, needs, error);
  deadline_us_.store(0, std::memory_order_relaxed);
  if (problem != MediaProblem::kNone) Reset();
  return problem;
}

MediaProblem MediaSource::FindStreams(const MediaSpec& media, const MediaNeeds& needs,
                                      std::string* error) {
  video_ = needs.video ? BestStream(input_.get(), AVMEDIA_TYPE_VIDEO) : nullptr;
  audio_ = needs.audio ? BestStream(input_.get(), AVMEDIA_TYPE_AUDIO) : nullptr;
  if (needs.video && video_ == nullptr) {
    *error = media.source + ": contains no video";
    return MediaProblem::kUnreadable;
  }
  if (needs.video && video_->codecpar->codec_id != AV_CODEC_ID_H264) {
    *error = media.source + ": the video is " + CodecName(video_) + ", only h264 can be recorded";
    return MediaProblem::kWrongCodec;
  }
  if (needs.video && (video_->codecpar->width <= 0 || video_->codecpar->height <= 0)) {
    *error = media.source + ": the picture size is unknown";
    return MediaProblem::kUnreadable;
  }
  if (needs.audio_required && audio_ == nullptr) {
    *error = media.source + ": contains no sound";
    return MediaProblem::kUnreadable;
  }
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    AVStream* const stream = input_->streams[i];
    if (stream != video_ && stream != audio_) stream->discard = AVDISCARD_ALL;
  }
  if (video_ != nullptr && media.frame_rate <= 0 && video_->r_frame_rate.num > 0 &&
      video_->r_frame_rate.den > 0) {
    frame_rate_ = std::clamp(av_q2d(video_->r_frame_rate), 1.0, 240.0);
  }
  origin_us_ = media.live || input_->start_time == AV_NOPTS_VALUE ? 0 : input_->start_time;
  return MediaProblem::kNone;
}

// Pictures are sent in decoding order, so the decoding time counts. The first picture is sent at
// its presentation time.
int64_t MediaSource::VideoTime(const AVPacket& packet) {
  const AVRational base = video_->time_base;
  const bool has_dts = packet.dts != AV_NOPTS_VALUE;
  const bool has_pts = packet.pts != AV_NOPTS_VALUE;
  int64_t time_us = next_video_us_;
  if (has_dts || has_pts) {
    if (reorder_us_ < 0) {
      reorder_us_ =
          has_dts && has_pts
              ? std::max<int64_t>(0, av_rescale_q(packet.pts - packet.dts, base, kMicroseconds))
              : 0;
    }
    const int64_t stamp = has_dts ? packet.dts : packet.pts;
    time_us = av_rescale_q(stamp, base, kMicroseconds) + (has_dts ? reorder_us_ : 0) - origin_us_;
    const int64_t shown_us =
        has_pts ? av_rescale_q(packet.pts, base, kMicroseconds) - origin_us_ : time_us;
    if (shown_us - time_us > 2 || time_us - shown_us > 2) reorders_ = true;
  }
  next_video_us_ = time_us + static_cast<int64_t>(AV_TIME_BASE / frame_rate_);
  return time_us;
}

MediaSource::Kind MediaSource::Read(AVPacket* packet, std::string* error) {
  for (;;) {
    av_packet_unref(packet);
    const int read = av_read_frame(input_.get(), packet);
    if (read == AVERROR_EOF) return Kind::kEnd;
    if (read < 0) {
      *error = FFmpegErrorText(read);
      return interrupted_.load(std::memory_order_acquire) ? Kind::kEnd : Kind::kFailed;
    }
    if (packet->size <= 0) continue;
    if (video_ != nullptr && packet->stream_index == video_->index) {
      packet->pts = packet->dts = VideoTime(*packet);
      packet->duration = static_cast<int64_t>(AV_TIME_BASE / frame_rate_);
      return Kind::kVideo;
    }
    if (audio_ != nullptr && packet->stream_index == audio_->index) {
      av_packet_rescale_ts(packet, audio_->time_base, kMicroseconds);
      if (packet->pts != AV_NOPTS_VALUE) packet->pts -= origin_us_;
      return Kind::kAudio;
    }
  }
}

}  // namespace kxrtc_host
