// The transcoder's replay: index records become timed samples. Audio frames drive the output time,
// video frames are placed against the latest audio frame, and stretches without usable video are
// filled with the icon clip.
#include <algorithm>
#include <limits>

#include "kx_utility/failure_log.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/recording/icon_frames.h"
#include "kxrtc/recording/speaker_record_transcoder_imp.h"

namespace kxrtc {
namespace {

using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::LS_INFO;
using kx_utility::LS_WARNING;
using kx_utility::RawBuffer;

constexpr int64_t kProgressIntervalMs = 1000;

}  // namespace

bool SpeakerRecordTranscoderImp::TranscodeLoop() {
  while (!IsThreadStopped()) {
    if (!StartMediaSession()) return FailedIn("StartMediaSession");
    if (!ProcessMediaSession()) return FailedIn("ProcessMediaSession");
    size_t position = 0;
    if (!index_file_.CurrentPosition(&position)) return FailedIn("index_file_.CurrentPosition");
    if (position == index_file_size_) return true;
  }
  return true;
}

bool SpeakerRecordTranscoderImp::StartMediaSession() {
  SpeakerRecordHeader header;
  if (!GetNextRecordHeader(&header)) return FailedIn("GetNextRecordHeader");
  if (header.type != kStartRecording) {
    // Intended: signed here, unsigned in ProcessMediaSession().
    LogFormatted(kx_utility::LS_ERROR, Here(), "unexpected type = %d",
                 static_cast<int32_t>(header.type));
    return false;
  }
  LogFormatted(LS_INFO, Here(), "got kStartRecording record , record_timestamp_us = %lld",
               static_cast<long long>(header.record_timestamp_us));
  clock_.StartSession(header.record_timestamp_us);
  return true;
}

bool SpeakerRecordTranscoderImp::ProcessMediaSession() {
  MediaSession session;
  while (!IsThreadStopped()) {
    if (!ReportProgress(&session)) return false;
    SpeakerRecordHeader header;
    if (!GetNextRecordHeader(&header)) return FailedIn("GetNextRecordHeader");
    bool processed = false;
    switch (header.type) {
      case kStopRecording:
        LogFormatted(LS_INFO, Here(), "got stop record, record_timestamp_us = %lld",
                     static_cast<long long>(header.record_timestamp_us));
        return true;
      case kNewChannel:
        processed = ProcessNewChannel(header, &session);
        break;
      case kNewVideoAttributes:
        processed = ProcessNewVideoAttributes(header, &session);
        break;
      case kVideoData:
        processed = ProcessVideoData(header, &session);
        break;
      case kAudioData:
        processed = ProcessAudioData(header, &session);
        break;
      default:
        LogFormatted(LS_WARNING, Here(), "unexpected header.type = %u", header.type);
        break;
    }
    if (!processed) return false;
  }
  return true;  // A stop is not a failure.
}

bool SpeakerRecordTranscoderImp::ReportProgress(MediaSession* session) noexcept {
  if (session->progress_watch.TimeInMilliseconds() <= kProgressIntervalMs) return true;
  size_t position = 0;
  if (!index_file_.CurrentPosition(&position)) return FailedIn("index_file_.CurrentPosition");
  // The index may have grown since it was opened: more than 100 is possible, more than 32 bits not.
  const double percent =
      static_cast<double>(position) / static_cast<double>(index_file_size_) * 100;
  const auto progress = static_cast<uint32_t>(
      std::min(percent, static_cast<double>(std::numeric_limits<uint32_t>::max())));
  LogFormatted(LS_INFO, Here(), "Progress = %u, current_position = %llu", progress,
               static_cast<unsigned long long>(position));
  if (auto* observer = observer_.load(std::memory_order_acquire)) {
    observer->OnTranscodeProgress(progress, static_cast<uint32_t>(position));
  }
  session->progress_watch.Restart();
  return true;
}

bool SpeakerRecordTranscoderImp::ProcessNewChannel(const SpeakerRecordHeader& header,
                                                   MediaSession* session) {
  NewChannelRecord record;
  if (!GetNewChannelRecord(&record)) return FailedIn("GetNewChannelRecord");
  LogFormatted(LS_INFO, Here(),
               "got kNewChannel record, record_timestamp_us = %lld, record.media_type = %u",
               static_cast<long long>(header.record_timestamp_us), record.media_type);
  channel_media_type_ = record.media_type;
  if (channel_media_type_ == 0) {
    if (!SetIconAttributes(session)) return false;
    if (!PushIconOnlyFrames(header.record_timestamp_us)) return FailedIn("PushIconOnlyFrames");
  }
  session->need_key_frame = true;
  return true;
}

bool SpeakerRecordTranscoderImp::ProcessNewVideoAttributes(const SpeakerRecordHeader& header,
                                                           MediaSession* session) {
  if (channel_media_type_ == 0) return Failed("no data should not has video attribute");
  if (!GetNewVideoAttributesRecord(&video_attributes_)) {
    return FailedIn("GetNewVideoAttributesRecord");
  }
  LogFormatted(LS_INFO, Here(),
               "got kNewVideoAttributes record, record_timestamp_us = %lld, record.height = %u, "
               "record.width = %u, record.rotation_angle = %d",
               static_cast<long long>(header.record_timestamp_us), video_attributes_.height,
               video_attributes_.width, video_attributes_.rotation_angle);
  return SetStoredAttributes(session);
}

bool SpeakerRecordTranscoderImp::ProcessVideoData(const SpeakerRecordHeader& header,
                                                  MediaSession* session) {
  if (channel_media_type_ == 0) return Failed("no data should not has video data");
  VideoDataRecord record;
  if (!GetVideoDataRecord(&record)) return FailedIn("GetVideoDataRecord");
  FrameBytes frame;
  if (!ReadVideoData(record, &session->large_frame, &frame))
    return FailedIn("PushVideoData");  // sic
  if (session->need_key_frame) {
    if (!H264::IsKeyFrame(frame.data, frame.size)) {
      LogFormatted(LS_WARNING, Here(),
                   "need a key frame, so drop this delta frame"
                   "header.record_timestamp_us = %lld",
                   static_cast<long long>(header.record_timestamp_us));
      return true;
    }
    if (session->icon_attributes_active && !SetStoredAttributes(session)) return false;
    session->need_key_frame = false;
  }
  if (!PushVideoData(frame, header.record_timestamp_us)) return FailedIn("PushVideoData");
  return true;
}

bool SpeakerRecordTranscoderImp::ProcessAudioData(const SpeakerRecordHeader& header,
                                                  MediaSession* session) {
  AudioDataRecord record;
  if (!GetAudioDataRecord(&record)) return FailedIn("GetVideoDataRecord");  // sic
  FrameBytes frame;
  if (!ReadAudioData(record, &session->large_frame, &frame))
    return FailedIn("PushVideoData");  // sic
  if (!PushAudioData(frame, header.record_timestamp_us)) {
    return FailedIn("mp4_sink_writer_->PushAudioSample");
  }
  if (video_pushed_ && !clock_.IsVideoMissing(session->need_key_frame)) return true;
  return FillVideoGap(header.record_timestamp_us, session);
}

bool SpeakerRecordTranscoderImp::FillVideoGap(int64_t record_timestamp_us, MediaSession* session) {
  if (channel_media_type_ != 0) {
    LogFormatted(LS_WARNING, Here(), "too long for next video frame, insert icon only frames.");
  }
  if (!session->icon_attributes_active && !SetIconAttributes(session)) return false;
  if (!PushIconOnlyFrames(record_timestamp_us)) return FailedIn("PushIconOnlyFrames");
  session->need_key_frame = true;
  return true;
}

bool SpeakerRecordTranscoderImp::SetIconAttributes(MediaSession* session) noexcept {
  if (!mp4_sink_writer_->SetNewInputVideoAttributes(kIconWidth, kIconHeight, kIconRotationAngle)) {
    return FailedIn("mp4_sink_writer_->SetNewInputVideoAttributes");
  }
  session->icon_attributes_active = true;
  return true;
}

bool SpeakerRecordTranscoderImp::SetStoredAttributes(MediaSession* session) noexcept {
  if (!mp4_sink_writer_->SetNewInputVideoAttributes(
          video_attributes_.width, video_attributes_.height, video_attributes_.rotation_angle)) {
    return FailedIn("mp4_sink_writer_->SetNewInputVideoAttributes");
  }
  session->icon_attributes_active = false;
  return true;
}

bool SpeakerRecordTranscoderImp::PushVideoData(const FrameBytes& frame,
                                               int64_t record_timestamp_us) noexcept {
  const int64_t timestamp_us = clock_.PlaceVideo(record_timestamp_us);
  if (!mp4_sink_writer_->PushVideoSample(timestamp_us, frame.data, frame.size)) {
    return FailedIn("mp4_sink_writer_->PushVideoSample");
  }
  video_pushed_ = true;
  return true;
}

bool SpeakerRecordTranscoderImp::PushAudioData(const FrameBytes& frame,
                                               int64_t record_timestamp_us) noexcept {
  const int64_t timestamp_us = clock_.PlaceAudio(record_timestamp_us);
  return mp4_sink_writer_->PushAudioSample(timestamp_us, frame.data, frame.size);
}

bool SpeakerRecordTranscoderImp::PushIconOnlyFrames(long long record_timestamp_us) {
  RawBuffer buffer;
  int64_t timestamp_us = record_timestamp_us;
  for (const IconFrame& frame : kIconFrames) {
    if (!buffer.SetData(frame.data, frame.size)) return FailedIn("buffer.SetData");
    if (!PushVideoData({buffer.data(), buffer.size()}, timestamp_us))
      return FailedIn("PushVideoData");
    timestamp_us = SaturatedAdd(timestamp_us, kIconFrameSpacingUs);
  }
  return true;
}

}  // namespace kxrtc
