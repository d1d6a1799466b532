#include "host/conference/media_source.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/time.h>
}

#include <algorithm>

namespace kxrtc_host {
namespace {

constexpr AVRational kMicroseconds = {1, AV_TIME_BASE};
constexpr double kDefaultFrameRate = 25;

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
  stream_.reset();
  local_.Close();
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
  deadline_us_.store(av_gettime_relative() + timeout_us, std::memory_order_relaxed);
  std::string why;
  if (!OpenInput(media, &why)) return unreadable(why);
  const int found = avformat_find_stream_info(input_.get(), nullptr);
  if (found < 0) return unreadable("cannot be read: " + OpeningErrorText(found));
  const MediaProblem problem = FindStreams(media, needs, error);
  deadline_us_.store(0, std::memory_order_relaxed);
  if (problem != MediaProblem::kNone) Reset();
  return problem;
}

bool MediaSource::OpenInput(const MediaSpec& media, std::string* error) {
  SourceAccess access;
  const AVInputFormat* format = nullptr;
  if (!FindSourceAccess(media, &access, error) || !OpenBytes(media, access, error) ||
      !FindFormat(media, access, &format, error)) {
    return false;
  }
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) {
    *error = "out of memory";
    return false;
  }
  context->interrupt_callback = {ShouldStop, this};
  context->pb = Bytes();
  DictionaryHandle options;
  if (media.live) SetLiveOptions(&options);
  options.Set("protocol_whitelist", access.protocols.c_str());
  if (!access.formats.empty()) options.Set("format_whitelist", access.formats.c_str());
  frame_rate_ = media.frame_rate > 0 ? media.frame_rate : kDefaultFrameRate;
  if (media.frame_rate > 0) options.Set("framerate", std::to_string(media.frame_rate).c_str());
  const int opened = avformat_open_input(&context, media.source.c_str(), format, options.address());
  if (opened < 0) {  // This has freed the context.
    *error = "cannot be opened: " + OpeningErrorText(opened);
    if (format != nullptr && !IsPlainFormat(format->name)) {
      *error += std::string(" (as ") + format->name + ", without the media that it may name)";
    }
    return false;
  }
  input_.reset(context);
  return true;
}

// Opens the bytes of a source that libavformat does not open itself.
bool MediaSource::OpenBytes(const MediaSpec& media, const SourceAccess& access,
                            std::string* error) {
  const AVIOInterruptCB interrupt = {ShouldStop, this};
  switch (access.way) {
    case SourceAccess::Way::kLocal:
      return local_.Open(LocalPath(media.source), media.live, interrupt, error);
    case SourceAccess::Way::kStream: {
      DictionaryHandle options;
      if (media.live) SetLiveOptions(&options);
      options.Set("protocol_whitelist", access.protocols.c_str());
      AVIOContext* io = nullptr;
      const int opened =
          avio_open2(&io, media.source.c_str(), AVIO_FLAG_READ, &interrupt, options.address());
      stream_.reset(io);
      if (opened < 0) *error = "cannot be opened: " + OpeningErrorText(opened);
      return opened >= 0;
    }
    case SourceAccess::Way::kDemuxer:
      break;
  }
  return true;
}

// Finds the format before a demuxer of it can open anything.
bool MediaSource::FindFormat(const MediaSpec& media, const SourceAccess& access,
                             const AVInputFormat** format, std::string* error) {
  if (!access.format.empty()) {
    *format = av_find_input_format(access.format.c_str());
    if (*format == nullptr) {
      *error = "unknown format \"" + access.format + "\"";
      return false;
    }
  } else {
    const int score = av_probe_input_buffer2(Bytes(), format, media.source.c_str(), nullptr, 0, 0);
    if (score < 0) {
      *error = "cannot be opened: " + OpeningErrorText(score);
      return false;
    }
  }
  if (access.formats.empty() || av_match_list((*format)->name, access.formats.c_str(), ',') > 0) {
    return true;
  }
  *error = std::string("is of the format ") + (*format)->name +
           ", which may name other files and addresses; \"format\": \"hls\" or \"dash\" follows " +
           "a playlist";
  return false;
}

std::string MediaSource::OpeningErrorText(int code) {
  return code == AVERROR_EXIT ? kNoDataText : FFmpegErrorText(code);
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
