#include "record/predict/replay_simulator.h"

#include "kxrtc/recording/peer_connection_conductor.h"
#include "record/predict/replay_end.h"

namespace kxrtc_host {
void ReplaySimulator::Fail(const Failure& failure) {
  if (!failure_) failure_ = failure;
}

void ReplaySimulator::OnBrokenIndex(IndexWalker::Step step, uint64_t offset) {
  Fail({EndAtStep(step, offset, state_->in_session(), sessions_).reason, std::nullopt});
}

void ReplaySimulator::OnRecord(const IndexRecord& record, RecordFault fault, bool is_key) {
  if (failure_) return;
  const uint32_t type = record.header.type;
  const int64_t recorder_us = record.header.record_timestamp_us;
  // The library takes a frame of any size.
  if (const auto end = EndAtRecord(record, fault, UINT32_MAX)) {
    return Fail({end->reason, recorder_us});
  }
  switch (type) {
    case kxrtc::kStartRecording:
      ++sessions_;
      need_key_frame_ = true;
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
  in_gap_ = has_picture_ = false;
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
  video_pushed_ = has_picture_ = true;
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
  if (state_->media_type() == kxrtc::PeerConnectionConductor::kDesktop && has_picture_) {
    reason = FillerReason::kStillShare;
  }
  if (!shows_icon_) SetAttributes(true);
  PushFiller(recorder_us, reason);
}

void ReplaySimulator::Finish() {
  const ReplayEnd end = EndAtStep(IndexWalker::Step::kEnd, 0, state_->in_session(), sessions_);
  if (end.end != RecordEnd::kComplete) Fail({end.reason, std::nullopt});
}

}  // namespace kxrtc_host
