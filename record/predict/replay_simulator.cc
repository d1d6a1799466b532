#include "record/predict/replay_simulator.h"

#include <cinttypes>

#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

const char* ReasonOf(RecordFault fault, uint32_t type) {
  switch (fault) {
    case RecordFault::kNoSession:
      return "a session without a start record";
    case RecordFault::kOpenSession:
      return "a start record inside a session";
    case RecordFault::kNoChannel:
      return type == kxrtc::kVideoData ? "a video frame without a video channel"
                                       : "attributes without a video channel";
    case RecordFault::kMissingFrame:
      return "the frame is not in its file";
    case RecordFault::kNone:
      break;
  }
  return "";
}

}  // namespace

void ReplaySimulator::Fail(const Failure& failure) {
  if (!failure_) failure_ = failure;
}

void ReplaySimulator::OnBrokenIndex(bool is_cut_short) {
  Fail({is_cut_short ? "the index ends inside a record"
                     : "the index continues with bytes that are not a record",
        std::nullopt, is_cut_short});
}

void ReplaySimulator::OnRecord(const IndexRecord& record, bool is_key) {
  if (failure_) return;
  const uint32_t type = record.header.type;
  const int64_t recorder_us = record.header.record_timestamp_us;
  const RecordFault fault = state_->FaultOf(record);
  if (fault != RecordFault::kNone) {
    Fail({Text("at index offset %" PRIu64 ": %s", record.offset, ReasonOf(fault, type)),
          recorder_us, fault == RecordFault::kMissingFrame});
    return;
  }
  switch (type) {
    case kxrtc::kStartRecording:
      saw_session_ = need_key_frame_ = true;
      shows_icon_ = false;
      clock_.StartSession(recorder_us);
      return events_->OnSessionStart(recorder_us, state_->media_type());
    case kxrtc::kStopRecording:
      return events_->OnSessionStop();
    case kxrtc::kNewChannel:
      return OnChannel(record);
    case kxrtc::kNewVideoAttributes:
      attributes_ = record.attributes;
      return SetAttributes(false);
    case kxrtc::kVideoData:
      return OnVideo(record, is_key);
    default:
      return OnAudio(record);
  }
}

void ReplaySimulator::SetAttributes(bool icon) {
  shows_icon_ = icon;
  if (icon) {
    events_->OnAttributes(kxrtc::kIconWidth, kxrtc::kIconHeight, kxrtc::kIconRotationAngle);
  } else {
    events_->OnAttributes(attributes_.width, attributes_.height, attributes_.rotation_angle);
  }
}

void ReplaySimulator::PushFiller(int64_t recorder_us, FillerReason reason) {
  events_->OnFiller(recorder_us, reason);
  for (uint32_t i = 0; i < kxrtc::kIconFrameCount; ++i) {
    const int64_t offset_us = i * kxrtc::kIconFrameSpacingUs;
    events_->OnFillerPicture(clock_.PlaceVideo(kxrtc::SaturatedAdd(recorder_us, offset_us)));
  }
  video_pushed_ = true;
  need_key_frame_ = true;
}

void ReplaySimulator::OnChannel(const IndexRecord& record) {
  const int64_t recorder_us = record.header.record_timestamp_us;
  const uint32_t media_type = record.channel.media_type;
  in_gap_ = false;
  need_key_frame_ = true;
  events_->OnChannel(recorder_us, clock_.SinceAnchor(recorder_us), media_type);
  if (media_type != 0) return;
  SetAttributes(true);
  PushFiller(recorder_us, FillerReason::kAudioOnly);
}

void ReplaySimulator::OnVideo(const IndexRecord& record, bool is_key) {
  const int64_t recorder_us = record.header.record_timestamp_us;
  in_gap_ = false;
  if (need_key_frame_ && !is_key) return events_->OnDroppedFrame(recorder_us);
  if (need_key_frame_ && shows_icon_) SetAttributes(false);
  need_key_frame_ = false;
  video_pushed_ = true;
  events_->OnFrame(clock_.PlaceVideo(recorder_us), record, is_key);
}

void ReplaySimulator::OnAudio(const IndexRecord& record) {
  const int64_t recorder_us = record.header.record_timestamp_us;
  events_->OnAudio(clock_.PlaceAudio(recorder_us), record);
  if (video_pushed_ && !clock_.IsVideoMissing(need_key_frame_)) return;
  in_gap_ = in_gap_ || !need_key_frame_;
  FillerReason reason = FillerReason::kWaitingForKeyFrame;
  if (in_gap_) reason = FillerReason::kGap;
  if (state_->media_type() == 0) reason = FillerReason::kAudioOnly;
  if (!shows_icon_) SetAttributes(true);
  PushFiller(recorder_us, reason);
}

void ReplaySimulator::Finish() {
  if (state_->in_session()) Fail({"the index ends without a stop record", std::nullopt, true});
  if (!saw_session_) Fail({"the index contains no session", std::nullopt, false});
}

}  // namespace kxrtc_host
