#include "host/replay/record_replay.h"

#include "kx_utility/failure_log.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/recording/icon_frames.h"

namespace kxrtc_host {

RecordReplay::RecordReplay(RecordFiles* files, kxrtc::Mp4SinkWriter* writer)
    : files_(files),
      writer_(writer),
      state_(&files->video, &files->audio),
      replay_(&state_, this),
      walker_(&files->index) {}

RecordReplay::Step RecordReplay::Next() {
  const IndexWalker::Step step = walker_.Next(&record_);
  if (step == IndexWalker::Step::kEnd) {
    replay_.Finish();
    return replay_.failure() ? Fail() : Step::kEnd;
  }
  if (step != IndexWalker::Step::kRecord) {
    replay_.OnBrokenIndex(step, record_.offset);
    return Fail();
  }
  const RecordFault fault = state_.FaultOf(record_);
  bool is_key = false;
  if (record_.IsMedia() && fault == RecordFault::kNone) {
    // The library's text: what reads the log looks for it.
    if (!ReadFrame(record_)) return kx_utility::FailedIn("video_file_.Read"), Step::kFailed;
    is_key = record_.header.type == kxrtc::kVideoData && replay_.needs_key_frame() &&
             kxrtc::H264::IsKeyFrame(frame_, record_.data.size);
  }
  replay_.OnRecord(record_, fault, is_key);
  state_.Take(record_);
  return replay_.failure() || refused_ != nullptr ? Fail() : Step::kGoesOn;
}

RecordReplay::Step RecordReplay::Fail() {
  if (refused_ != nullptr) {
    kx_utility::FailedIn(refused_);
  } else {
    kx_utility::Failed(replay_.failure()->reason.c_str());
  }
  return Step::kFailed;
}

// False when the bytes are not there any more.
bool RecordReplay::ReadFrame(const IndexRecord& record) {
  ReadOnlyFile& file = record.header.type == kxrtc::kVideoData ? files_->video : files_->audio;
  const kxrtc::MediaDataRecord& data = record.data;
  frame_ = nullptr;
  if (data.size == 0) return true;
  if (data.size <= ReadOnlyFile::kWindowSize) {
    frame_ = file.View(data.start_position, data.size);
    return frame_ != nullptr;
  }
  large_frame_.resize(data.size);  // They were in the file when it was opened.
  frame_ = large_frame_.data();
  return file.Read(data.start_position, large_frame_.data(), data.size) == data.size;
}

void RecordReplay::OnAttributes(uint32_t width, uint32_t height, int32_t rotation_angle) {
  if (refused_ != nullptr) return;
  if (!writer_->SetNewInputVideoAttributes(width, height, rotation_angle)) {
    refused_ = "mp4_sink_writer_->SetNewInputVideoAttributes";
  }
}

void RecordReplay::OnFrame(int64_t output_us, const IndexRecord& record, bool /*is_key*/) {
  if (refused_ != nullptr) return;
  if (!writer_->PushVideoSample(output_us, frame_, record.data.size)) {
    refused_ = "mp4_sink_writer_->PushVideoSample";
  }
}

void RecordReplay::OnAudio(int64_t output_us, const IndexRecord& record) {
  if (!writer_->PushAudioSample(output_us, frame_, record.data.size)) {
    refused_ = "mp4_sink_writer_->PushAudioSample";
  }
}

void RecordReplay::OnFiller(int64_t /*recorder_us*/, FillerReason /*reason*/) {
  next_filler_picture_ = 0;
}

void RecordReplay::OnFillerPicture(int64_t output_us) {
  const kxrtc::IconFrame& picture = kxrtc::kIconFrames[next_filler_picture_++];
  if (refused_ != nullptr) return;
  if (!writer_->PushVideoSample(output_us, picture.data, picture.size)) {
    refused_ = "mp4_sink_writer_->PushVideoSample";
  }
}

}  // namespace kxrtc_host
