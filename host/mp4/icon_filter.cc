#include "host/mp4/icon_filter.h"

#include <algorithm>
#include <cstring>

#include "kxrtc/recording/peer_connection_conductor.h"

namespace kxrtc_host {

const kxrtc::IconFrame* FindIconFrame(const uint8_t* data, uint32_t size) {
  for (const kxrtc::IconFrame& frame : kxrtc::kIconFrames) {
    if (frame.size == size && std::memcmp(frame.data, data, size) == 0) return &frame;
  }
  return nullptr;
}

void IconFilter::OnAudio() {
  if (shares_ != nullptr) shares_->OnAudio();
}

void IconFilter::SetAttributes(int32_t rotation) {
  has_new_attributes_ = true;
  rotation_ = rotation;
}

void IconFilter::PassAttributes() {
  if (has_new_attributes_) track_->SetAttributes(rotation_);
  has_new_attributes_ = false;
}

bool IconFilter::ShareStandsStill() const {
  return shares_ != nullptr && shares_->media_type() == kxrtc::PeerConnectionConductor::kDesktop &&
         shares_->channel() == shown_channel_;
}

bool IconFilter::Push(int64_t time_us, const uint8_t* data, uint32_t size) {
  if (hold_.IsDue(time_us) && !ShowHeldIcons()) return false;
  if (const kxrtc::IconFrame* frame = FindIconFrame(data, size)) return PushIcon(time_us, frame);
  held_.clear();
  PassAttributes();
  if (shares_ != nullptr) shown_channel_ = shares_->channel();
  return track_->Push(hold_.ShowRecorded(time_us), data, size);
}

bool IconFilter::PushIcon(int64_t time_us, const kxrtc::IconFrame* frame) {
  if (ShareStandsStill()) return true;
  if (hold_.LeavesOut(frame == kxrtc::kIconFrames)) return true;
  if (hold_.HoldsIcon(time_us)) {
    held_.push_back({time_us, frame});
    return true;
  }
  PassAttributes();
  return track_->Push(time_us, frame->data, frame->size);
}

bool IconFilter::ShowHeldIcons() {
  hold_.ShowIcon();
  track_->SetAttributes(kxrtc::kIconRotationAngle);
  for (const HeldIcon& icon : held_) {
    if (!track_->Push(hold_.ShownFrom(icon.time_us), icon.frame->data, icon.frame->size))
      return false;
  }
  held_.clear();
  return true;
}

bool IconFilter::AdvanceTo(int64_t time_us) {
  if (hold_.IsDue(time_us) && !ShowHeldIcons()) return false;
  return track_->AdvanceTo(hold_.is_waiting() ? std::min(time_us, hold_.start_us()) : time_us);
}

bool IconFilter::Finish(int64_t end_us) {
  if (hold_.ShowsAtEnd(end_us) && !ShowHeldIcons()) return false;
  return track_->Finish(end_us);
}

}  // namespace kxrtc_host
