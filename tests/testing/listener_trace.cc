#include "tests/testing/listener_trace.h"

namespace kx_testing {
namespace {

const char* NameOf(kxrtc::RecordFile file) {
  switch (file) {
    case kxrtc::RecordFile::kVideo:
      return "video";
    case kxrtc::RecordFile::kAudio:
      return "audio";
    case kxrtc::RecordFile::kIndex:
      return "index";
  }
  return "unknown file";
}

const char* NameOf(kxrtc::SelectionReason reason) {
  switch (reason) {
    case kxrtc::SelectionReason::kNone:
      return "kNone";
    case kxrtc::SelectionReason::kVideoTurnedOff:
      return "kVideoTurnedOff";
    case kxrtc::SelectionReason::kSpeakerWithoutVideo:
      return "kSpeakerWithoutVideo";
    case kxrtc::SelectionReason::kMicrophoneTurnedOff:
      return "kMicrophoneTurnedOff";
    case kxrtc::SelectionReason::kDesktopShared:
      return "kDesktopShared";
    case kxrtc::SelectionReason::kVideoTurnedOn:
      return "kVideoTurnedOn";
    case kxrtc::SelectionReason::kNobodyRecorded:
      return "kNobodyRecorded";
    case kxrtc::SelectionReason::kAnotherSpeaker:
      return "kAnotherSpeaker";
  }
  return "unknown reason";
}

}  // namespace

void ListenerTrace::OnChannelSelected(const kxrtc::SelectedChannel& channel) {
  Add(&ListenerTrace::records_, "channel " + std::to_string(channel.media_type),
      channel.timestamp_us);
  const std::lock_guard<std::mutex> guard(lock_);
  selections_.push_back(std::to_string(channel.ssrc) + " " + std::to_string(channel.user_id) + " " +
                        std::to_string(channel.media_type) + ": " + NameOf(channel.reason));
}

void ListenerTrace::OnAttributesWritten(const kxrtc::WrittenAttributes& attributes) {
  Add(&ListenerTrace::records_,
      "attributes " + std::to_string(attributes.width) + "x" + std::to_string(attributes.height) +
          " r" + std::to_string(attributes.rotation_angle),
      attributes.timestamp_us);
}

void ListenerTrace::OnFrameWritten(const kxrtc::WrittenFrame& frame) {
  Add(&ListenerTrace::records_,
      std::string(NameOf(frame.file)) + " " + std::to_string(frame.start_position) + "+" +
          std::to_string(frame.size),
      frame.timestamp_us);
}

void ListenerTrace::OnWriteFailed(const kxrtc::FailedWrite& write) {
  const std::lock_guard<std::mutex> guard(lock_);
  failures_.push_back(std::string(NameOf(write.file)) + " " + std::to_string(write.size) +
                      (write.stops_recording ? ", stops" : ", goes on"));
}

void ListenerTrace::Add(Lines ListenerTrace::*lines, const std::string& line, int64_t time) {
  const std::lock_guard<std::mutex> guard(lock_);
  (this->*lines).push_back(line + " @" + std::to_string(time));
}

ListenerTrace::Lines ListenerTrace::Copy(Lines ListenerTrace::*lines) const {
  const std::lock_guard<std::mutex> guard(lock_);
  return this->*lines;
}

}  // namespace kx_testing
