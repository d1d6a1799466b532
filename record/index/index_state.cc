#include "record/index/index_state.h"

#include "record/index/frame_limit.h"

namespace kxrtc_host {

bool IndexState::IsRepeated(const IndexRecord& record) const {
  if (!record.IsMedia() || PlaceOf(record) != FramePlace::kInFile) return false;
  const bool is_video = record.header.type == kxrtc::kVideoData;
  const uint64_t named = (is_video ? named_video_ : named_audio_) + record.data.size;
  return named > (is_video ? *video_ : *audio_).size() + kMaxFrameBytes;
}

bool IndexState::LacksChannel(const IndexRecord& record) const {
  const bool needs_channel =
      record.header.type == kxrtc::kNewVideoAttributes || record.header.type == kxrtc::kVideoData;
  return needs_channel && media_type_ == 0;
}

RecordFault IndexState::FaultOf(const IndexRecord& record) const {
  const bool starts = record.header.type == kxrtc::kStartRecording;
  if (starts == in_session_) return starts ? RecordFault::kOpenSession : RecordFault::kNoSession;
  if (LacksChannel(record)) return RecordFault::kNoChannel;
  const bool is_missing = record.IsMedia() && PlaceOf(record) == FramePlace::kMissing;
  if (is_missing) return RecordFault::kMissingFrame;
  return IsRepeated(record) ? RecordFault::kRepeatedBytes : RecordFault::kNone;
}

void IndexState::Take(const IndexRecord& record) {
  in_session_ = record.header.type != kxrtc::kStopRecording;
  if (record.header.type == kxrtc::kNewChannel) media_type_ = record.channel.media_type;
  if (!record.IsMedia() || PlaceOf(record) != FramePlace::kInFile) return;
  (record.header.type == kxrtc::kVideoData ? named_video_ : named_audio_) += record.data.size;
}

}  // namespace kxrtc_host
