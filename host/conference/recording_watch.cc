#include "host/conference/recording_watch.h"

#include <chrono>
#include <utility>

#include "kx_utility/byte_buffer.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

using kxrtc::RecordFile;
using kxrtc::SelectionReason;

const char* ReasonText(SelectionReason reason) {
  switch (reason) {
    case SelectionReason::kVideoTurnedOff:
      return "the recorded video was turned off";
    case SelectionReason::kSpeakerWithoutVideo:
      return "speaks and has no video";
    case SelectionReason::kMicrophoneTurnedOff:
      return "the microphone was closed";
    case SelectionReason::kDesktopShared:
      return "shares the desktop";
    case SelectionReason::kVideoTurnedOn:
      return "turned the video on";
    case SelectionReason::kNobodyRecorded:
      return "first picture while nobody was recorded";
    case SelectionReason::kAnotherSpeaker:
      return "speaks";
    case SelectionReason::kNone:
      break;
  }
  return "";
}

const char* FileText(RecordFile file) {
  switch (file) {
    case RecordFile::kVideo:
      return "video file";
    case RecordFile::kAudio:
      return "audio file";
    case RecordFile::kIndex:
      break;
  }
  return "index file";
}

}  // namespace

bool RecordingWatch::WaitForSession(int64_t timeout_us) {
  std::unique_lock<std::mutex> guard(lock_);
  told_.wait_for(guard, std::chrono::microseconds(timeout_us),
                 [this] { return counts_.sessions != 0 || !failures_.empty(); });
  return counts_.sessions != 0;
}

RecordCounts RecordingWatch::counts() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return counts_;
}

std::vector<RecorderSelection> RecordingWatch::TakeSelections() {
  const std::lock_guard<std::mutex> guard(lock_);
  return std::exchange(selections_, {});
}

std::vector<std::string> RecordingWatch::TakeFailures() {
  const std::lock_guard<std::mutex> guard(lock_);
  return std::exchange(failures_, {});
}

template <typename... Payload>
void RecordingWatch::CountRecord(uint32_t type, int64_t timestamp_us, const Payload&... payload) {
  kx_utility::ByteBufferWriter record;
  kxrtc::WriteRecord(kxrtc::SpeakerRecordHeader{type, timestamp_us}, &record);
  (kxrtc::WriteRecord(payload, &record), ...);
  counts_.index_bytes += record.length();
  counts_.index_digest.Add(reinterpret_cast<const uint8_t*>(record.data()), record.length());
}

void RecordingWatch::OnRecordingStarted(int64_t timestamp_us) {
  {
    const std::lock_guard<std::mutex> guard(lock_);
    CountRecord(kxrtc::kStartRecording, timestamp_us);
    ++counts_.sessions;
  }
  told_.notify_all();
}

void RecordingWatch::OnRecordingStopped(int64_t timestamp_us) {
  const std::lock_guard<std::mutex> guard(lock_);
  CountRecord(kxrtc::kStopRecording, timestamp_us);
  counts_.stop_us = timestamp_us;
}

void RecordingWatch::OnChannelSelected(const kxrtc::SelectedChannel& channel) {
  const std::lock_guard<std::mutex> guard(lock_);
  CountRecord(kxrtc::kNewChannel, channel.timestamp_us,
              kxrtc::NewChannelRecord{channel.media_type});
  ++counts_.switches;
  selections_.push_back(
      {channel.ssrc, channel.user_id, channel.media_type, ReasonText(channel.reason)});
}

void RecordingWatch::OnAttributesWritten(const kxrtc::WrittenAttributes& attributes) {
  const std::lock_guard<std::mutex> guard(lock_);
  CountRecord(kxrtc::kNewVideoAttributes, attributes.timestamp_us,
              kxrtc::NewVideoAttributesRecord{static_cast<int32_t>(attributes.rotation_angle),
                                              attributes.width, attributes.height});
}

void RecordingWatch::OnFrameWritten(const kxrtc::WrittenFrame& frame) {
  const std::lock_guard<std::mutex> guard(lock_);
  const kxrtc::MediaDataRecord data{frame.start_position, frame.size};
  if (frame.file == RecordFile::kVideo) {
    CountRecord(kxrtc::kVideoData, frame.timestamp_us, data);
    ++counts_.video_frames;
    counts_.video_bytes += frame.size;
  } else {
    CountRecord(kxrtc::kAudioData, frame.timestamp_us, data);
    ++counts_.audio_frames;
    counts_.audio_bytes += frame.size;
  }
}

void RecordingWatch::OnWriteFailed(const kxrtc::FailedWrite& write) {
  {
    const std::lock_guard<std::mutex> guard(lock_);
    ++counts_.failed_writes;
    if (failures_.size() >= kMaxFailures) return;
    failures_.push_back(CountText(write.size, "byte") + " could not be written to the " +
                        FileText(write.file));
  }
  told_.notify_all();
}

}  // namespace kxrtc_host
