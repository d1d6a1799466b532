#include "host/mp4/encode_video_track.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "host/h264/parameter_sets.h"
#include "record/index/record_text.h"
#include "record/timing/encoded_video.h"
#include "record/timing/media_time.h"
#include "record/timing/rotation.h"

namespace kxrtc_host {
namespace {

// Ticks of the file's track for each frame: fine enough for any player, and exact.
constexpr uint32_t kTicksPerFrame = 1000;

// The sound does not wait longer for pictures in the decoder.
constexpr int64_t kLongestDecoderLagUs = kMicrosecondsPerSecond;

bool IsDamaged(const AVFrame& picture) {
  return (picture.flags & AV_FRAME_FLAG_CORRUPT) != 0 || picture.decode_error_flags != 0;
}

}  // namespace

EncodeVideoTrack::EncodeVideoTrack(std::unique_ptr<H264Encoder> encoder,
                                   const EncoderSettings& settings, IsWanted is_wanted,
                                   const KeptParts* parts, Mp4Muxer* muxer, WriterReport* report)
    : encoder_name_(encoder->name()),
      encoder_parameter_sets_(encoder->parameter_sets()),
      encoder_(std::move(encoder)),
      settings_(settings),
      is_wanted_(std::move(is_wanted)),
      parts_(parts),
      muxer_(muxer),
      report_(report),
      layout_(settings.width, settings.height),
      decoded_(av_frame_alloc()),
      shown_(av_frame_alloc()) {}

bool EncodeVideoTrack::Initialize() {
  if (decoded_ == nullptr || shown_ == nullptr || !decoder_.Open()) {
    return report_->Fail(WriterFailure::kVideo, "this FFmpeg has no H.264 decoder");
  }
  ParameterSets sets;
  SplitAccessUnit(encoder_parameter_sets_.data(),
                  static_cast<uint32_t>(encoder_parameter_sets_.size()), &units_);
  for (const NalUnit& unit : units_) sets.Add(unit);
  VideoTrackInfo info;
  info.decoder_configuration = sets.DecoderConfiguration();
  if (info.decoder_configuration.empty()) {
    return report_->Fail(WriterFailure::kVideo,
                         encoder_name_ + " gives no readable parameter sets");
  }
  info.width = settings_.width;
  info.height = settings_.height;
  info.ticks_per_second = settings_.frame_rate * kTicksPerFrame;
  info.frame_rate = settings_.frame_rate;
  muxer_->DescribeVideo(info);
  report_->status.video_encoder = encoder_name_;
  report_->status.video_width = settings_.width;
  report_->status.video_height = settings_.height;
  report_->status.video_frame_rate = settings_.frame_rate;
  return true;
}

void EncodeVideoTrack::SetAttributes(int32_t rotation) {
  decoder_.SetRotation(NormalRotation(rotation));
}

int64_t EncodeVideoTrack::TickTimeUs(int64_t tick) const {
  return ScaleTime(tick, kMicrosecondsPerSecond, settings_.frame_rate);
}

// Where a tick of the whole record's file is in this one.
int64_t EncodeVideoTrack::FileTick(int64_t tick) const {
  if (parts_->is_whole()) return tick;
  return ScaleTime(parts_->FileTime(TickTimeUs(tick)), settings_.frame_rate,
                   kMicrosecondsPerSecond);
}

int64_t EncodeVideoTrack::end_us() const {
  return has_tick_ ? TickTimeUs(FileTick(next_tick_)) : 0;
}

bool EncodeVideoTrack::Push(int64_t time_us, const uint8_t* data, uint32_t size) {
  last_time_us_ = report_->Raised(time_us, last_time_us_);
  const bool is_over = has_picture_ && TickTimeUs(next_tick_) >= parts_->end_us();
  if (is_over) return true;
  if (!decoder_.Send(last_time_us_, data, size)) return NoteUndecodable();
  return TakePictures();
}

bool EncodeVideoTrack::NoteUndecodable() {
  ++report_->status.pictures_undecodable;
  if (++undecodable_in_a_row_ < kMaxUndecodableInARow) return true;
  return report_->Fail(WriterFailure::kVideo,
                       CountText(kMaxUndecodableInARow, "picture") + " in a row cannot be decoded");
}

bool EncodeVideoTrack::TakePictures() {
  int32_t rotation = 0;
  while (decoder_.Receive(decoded_.get(), &rotation)) {
    const bool ok = IsDamaged(*decoded_) ? NoteUndecodable() : ShowPicture(decoded_->pts, rotation);
    av_frame_unref(decoded_.get());
    if (!ok) return false;
  }
  return true;
}

bool EncodeVideoTrack::ShowPicture(int64_t time_us, int32_t rotation) {
  if (!has_picture_) {
    // The first picture is shown from the tick before it, so that the track starts at a whole tick.
    next_tick_ =
        time_us <= 0 ? 0 : ScaleTime(time_us, settings_.frame_rate, kMicrosecondsPerSecond);
    while (next_tick_ > 0 && TickTimeUs(next_tick_) > time_us) --next_tick_;
  } else if (!ShowUntil(time_us)) {
    return false;
  }
  if (!layout_.Draw(*decoded_, rotation, shown_.get())) return NoteUndecodable();
  has_picture_ = true;
  undecodable_in_a_row_ = 0;
  av_frame_remove_side_data(shown_.get(), AV_FRAME_DATA_SEI_UNREGISTERED);
  // A key frame of the source does not have to be one here.
  shown_->pict_type = AV_PICTURE_TYPE_NONE;
  shown_->key_frame = 0;
  return true;
}

bool EncodeVideoTrack::EmitUntil(int64_t time_us) {
  const int64_t most_repeats =
      EncodedTicks(std::numeric_limits<int64_t>::max(), settings_.frame_rate) - 1;
  for (int64_t repeats = 0; has_picture_ && TickTimeUs(next_tick_) < time_us; ++repeats) {
    if (is_wanted_ && !is_wanted_()) {
      return report_->Fail(WriterFailure::kDiscarded, kStoppedText);
    }
    if (repeats == most_repeats) SkipUntil(time_us);
    if (!EmitTick()) return false;
  }
  return true;
}

// Goes on with the last tick before `time_us`. A key frame there keeps the order of the packets
// within each side of the skip.
void EncodeVideoTrack::SkipUntil(int64_t time_us) {
  int64_t last_tick = ScaleTime(time_us, settings_.frame_rate, kMicrosecondsPerSecond);
  while (last_tick > next_tick_ && TickTimeUs(last_tick) >= time_us) --last_tick;
  if (last_tick <= next_tick_) return;
  skipped_ticks_ += FileTick(last_tick) - FileTick(next_tick_);
  next_tick_ = last_tick;
  skips_.push_back({FileTick(next_tick_) - skipped_ticks_, skipped_ticks_});
  shown_->pict_type = AV_PICTURE_TYPE_I;
}

// Keeps back the tick that may be nearest to a picture of this time. Always rounding up would put
// pictures half a tick behind the sound on average, and a whole tick at worst.
bool EncodeVideoTrack::ShowUntil(int64_t time_us) {
  return EmitUntil(time_us - kMicrosecondsPerSecond / settings_.frame_rate / 2);
}

// The decoder may still hold pictures that are shown before that.
bool EncodeVideoTrack::AdvanceTo(int64_t time_us) {
  return ShowUntil(std::max(decoder_.NextPictureUs(time_us), time_us - kLongestDecoderLagUs));
}

bool EncodeVideoTrack::EmitTick() {
  const int64_t tick = next_tick_++;
  if (!parts_->Keeps(TickTimeUs(tick))) return true;
  has_tick_ = true;
  shown_->pts = FileTick(tick) - skipped_ticks_;
  const int result = encoder_.Send(*shown_, &packets_);
  shown_->pict_type = AV_PICTURE_TYPE_NONE;
  return TakePackets(result);
}

bool EncodeVideoTrack::TakePackets(int result) {
  if (result < 0) {
    return report_->Fail(WriterFailure::kVideo, encoder_name_ +
                                                    " fails: " + FFmpegErrorText(result) +
                                                    "; choose another encoder if it fails again");
  }
  for (const PacketHandle& packet : packets_) {
    if (!WritePacket(*packet)) return false;
  }
  packets_.clear();
  return true;
}

bool EncodeVideoTrack::WritePacket(const AVPacket& packet) {
  SplitAccessUnit(packet.data, static_cast<uint32_t>(packet.size), &units_);
  const uint64_t size = SampleSize(units_);
  if (size > Mp4Muxer::kMaxSampleBytes) {
    return report_->Fail(WriterFailure::kVideo, "a picture is too large");
  }
  uint8_t* const bytes = muxer_->Room(static_cast<uint32_t>(size));
  PutSample(units_, bytes);
  while (skips_.size() > 1 && packet.pts >= skips_[1].from_count) skips_.pop_front();
  const int64_t skipped = skips_.front().ticks;
  Mp4Sample sample;
  sample.presentation_time = (packet.pts + skipped) * kTicksPerFrame;
  sample.decode_time = (packet.dts + skipped) * kTicksPerFrame;
  sample.duration = kTicksPerFrame;
  sample.is_key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  sample.data = bytes;
  sample.size = static_cast<uint32_t>(size);
  return muxer_->WriteVideo(sample);
}

bool EncodeVideoTrack::Finish(int64_t end_us) {
  if (decoder_.Send(0, nullptr, 0) && !TakePictures()) return false;
  if (has_picture_) {
    if (!EmitUntil(end_us)) return false;
    // Without audio, or with a picture after its end, the last one is still shown.
    if (TickTimeUs(next_tick_) <= last_time_us_ && !EmitUntil(last_time_us_ + 1)) return false;
    if (!TakePackets(encoder_.Finish(&packets_))) return false;
  }
  const uint64_t undecodable = report_->status.pictures_undecodable;
  if (undecodable != 0) {
    report_->Warn(CountText(undecodable, "picture") +
                  " cannot be decoded; each time the previous picture stays");
  }
  return true;
}

}  // namespace kxrtc_host
