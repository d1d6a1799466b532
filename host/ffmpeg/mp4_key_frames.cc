#include "host/ffmpeg/mp4_key_frames.h"

extern "C" {
#include <libavutil/display.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/ffmpeg/picture_layout.h"
#include "record/check/video_check.h"
#include "record/timing/media_time.h"
#include "record/timing/rotation.h"

namespace kxrtc_host {
namespace {

// A small file may say that its index is huge. This is enough for five million samples a track:
// more than a day of sound.
constexpr size_t kMaxAllocation = 128 * 1024 * 1024;

constexpr int kBufferBytes = 32 * 1024;
constexpr AVRational kMicroseconds = {1, static_cast<int>(kMicrosecondsPerSecond)};

int32_t RotationOf(const AVStream& stream) {
  size_t size = 0;
  const uint8_t* const matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (matrix == nullptr || size < 9 * sizeof(int32_t)) return 0;
  const double degrees = -av_display_rotation_get(reinterpret_cast<const int32_t*>(matrix));
  return std::isnan(degrees) ? 0 : NormalRotation(static_cast<int32_t>(std::lround(degrees)));
}

}  // namespace

Mp4KeyFrames::~Mp4KeyFrames() {
  input_.reset();
  if (bytes_ != nullptr) av_freep(&bytes_->buffer);
  avio_context_free(&bytes_);
}

int Mp4KeyFrames::ReadBytes(void* self, uint8_t* buffer, int size) {
  auto* const frames = static_cast<Mp4KeyFrames*>(self);
  const size_t got = frames->file_.Read(static_cast<uint64_t>(frames->position_), buffer,
                                        static_cast<size_t>(size));
  frames->position_ += static_cast<int64_t>(got);
  if (got > 0) return static_cast<int>(got);
  return frames->file_.has_read_error() ? AVERROR(EIO) : AVERROR_EOF;
}

int64_t Mp4KeyFrames::Seek(void* self, int64_t offset, int whence) {
  auto* const frames = static_cast<Mp4KeyFrames*>(self);
  const auto size = static_cast<int64_t>(frames->file_.size());
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return size;
    case SEEK_SET:
      break;
    case SEEK_CUR:
      offset += frames->position_;
      break;
    default:
      return AVERROR(EINVAL);
  }
  if (offset < 0) return AVERROR(EINVAL);
  frames->position_ = offset;
  return offset;
}

bool Mp4KeyFrames::Open(const std::string& path, std::string* error) {
  if (file_.Open(path) != ReadOnlyFile::State::kOpen) {
    *error = path + ": " + file_.error();
    return false;
  }
  std::string reason;
  if (OpenInput(&reason) && FindVideo(&reason)) {
    ListKeyFrames();
    if (!times_us_.empty()) return true;
    reason = "has no picture";
  }
  *error = path + " " + reason;
  return false;
}

bool Mp4KeyFrames::OpenInput(std::string* error) {
  av_max_alloc(kMaxAllocation);
  auto* const buffer = static_cast<uint8_t*>(av_malloc(kBufferBytes));
  bytes_ = buffer == nullptr
               ? nullptr
               : avio_alloc_context(buffer, kBufferBytes, 0, this, ReadBytes, nullptr, Seek);
  AVFormatContext* context = avformat_alloc_context();
  if (bytes_ == nullptr || context == nullptr) {
    if (bytes_ == nullptr) av_free(buffer);
    avformat_free_context(context);
    *error = "cannot be opened: out of memory";
    return false;
  }
  context->pb = bytes_;
  // As no other format, without what would open further files.
  const int opened = avformat_open_input(&context, nullptr, av_find_input_format("mov"), nullptr);
  if (opened < 0) {  // This has freed the context.
    *error = "is not an MP4 file: " + FFmpegErrorText(opened);
    return false;
  }
  input_.reset(context);
  return true;
}

bool Mp4KeyFrames::FindVideo(std::string* error) {
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    AVStream* const stream = input_->streams[i];
    const bool is_video = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
                          (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
    if (is_video && stream_ == nullptr) {
      stream_ = stream;
    } else {
      stream->discard = AVDISCARD_ALL;
    }
  }
  if (stream_ == nullptr) {
    *error = "has no video";
  } else if (stream_->codecpar->codec_id != AV_CODEC_ID_H264) {
    *error = "has video that is not H.264; kxrtc makes thumbnails of H.264 only";
  } else if (!MakeFilter()) {
    *error = "has H.264 without valid parameter sets";
  } else {
    return true;
  }
  return false;
}

bool Mp4KeyFrames::MakeFilter() {
  AVBSFContext* filter = nullptr;
  const AVBitStreamFilter* const to_annex_b = av_bsf_get_by_name("h264_mp4toannexb");
  if (to_annex_b == nullptr || av_bsf_alloc(to_annex_b, &filter) < 0) return false;
  filter_.reset(filter);
  return avcodec_parameters_copy(filter->par_in, stream_->codecpar) >= 0 &&
         av_bsf_init(filter) >= 0;
}

int64_t Mp4KeyFrames::FileTime(int64_t ticks) const {
  return std::max<int64_t>(av_rescale_q(ticks, stream_->time_base, kMicroseconds), 0);
}

void Mp4KeyFrames::ListKeyFrames() {
  rotation_ = RotationOf(*stream_);
  AVStream* const stream = input_->streams[stream_->index];
  const int count = avformat_index_get_entries_count(stream);
  for (int i = 0; i < count; ++i) {
    const AVIndexEntry* const entry = avformat_index_get_entry(stream, i);
    const bool is_shown = (entry->flags & AVINDEX_DISCARD_FRAME) == 0;
    if ((entry->flags & AVINDEX_KEYFRAME) == 0 || !is_shown || entry->timestamp == AV_NOPTS_VALUE ||
        entry->size <= 0 || static_cast<uint32_t>(entry->size) > kMaxFrameBytesRead) {
      continue;
    }
    const int64_t time_us = FileTime(entry->timestamp);
    if (!times_us_.empty() && time_us < times_us_.back()) continue;
    times_us_.push_back(time_us);
    seek_ticks_.push_back(entry->timestamp);
  }
  // The index has times of decoding, and a seek takes one of display, which is a little later. All
  // up to the next key frame lead to this one.
  for (size_t i = 0; i < seek_ticks_.size(); ++i) {
    const bool is_last = i + 1 == seek_ticks_.size();
    seek_ticks_[i] += is_last
                          ? av_rescale_q(kMicrosecondsPerSecond, kMicroseconds, stream->time_base)
                          : (seek_ticks_[i + 1] - seek_ticks_[i]) / 2;
  }
  if (stream->duration > 0) duration_us_ = FileTime(stream->duration);
  if (input_->duration > 0) duration_us_ = std::max(duration_us_, input_->duration);
}

bool Mp4KeyFrames::ToAnnexB(AVPacket* packet, std::vector<uint8_t>* access_unit) {
  av_bsf_flush(filter_.get());
  if (av_bsf_send_packet(filter_.get(), packet) < 0 ||
      av_bsf_receive_packet(filter_.get(), packet) < 0) {
    return false;
  }
  access_unit->assign(packet->data, packet->data + packet->size);
  return true;
}

bool Mp4KeyFrames::Read(size_t place, KeyFrame* frame) {
  const PacketHandle packet(av_packet_alloc());
  if (packet == nullptr ||
      av_seek_frame(input_.get(), stream_->index, seek_ticks_[place], AVSEEK_FLAG_BACKWARD) < 0 ||
      av_read_frame(input_.get(), packet.get()) < 0 || packet->stream_index != stream_->index ||
      (packet->flags & AV_PKT_FLAG_KEY) == 0) {
    return false;
  }
  frame->time_us = packet->pts == AV_NOPTS_VALUE ? times_us_[place] : FileTime(packet->pts);
  frame->rotation = rotation_;
  return ToAnnexB(packet.get(), &frame->access_unit);
}

}  // namespace kxrtc_host
