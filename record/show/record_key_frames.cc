#include "record/show/record_key_frames.h"

#include <algorithm>

#include "record/check/video_check.h"
#include "record/index/record_files.h"

namespace kxrtc_host {

void OpenRecordedVideo(const std::string& folder, ReadOnlyFile* video) {
  video->Open(kxrtc::SpeakerRecordFilePath(RecordFolderPath(folder), kxrtc::kVideoFileExtension));
}

bool ReadKeyFrame(const ReadOnlyFile& video, const KeyFramePlace& place,
                  std::vector<uint8_t>* access_unit) {
  if (!video.is_open() || place.data.size > kMaxFrameBytesRead) return false;
  access_unit->resize(place.data.size);
  return video.Read(place.data.start_position, access_unit->data(), access_unit->size()) ==
         access_unit->size();
}

RecordKeyFrames::RecordKeyFrames(const RecordSummary& summary, const KeyFrameChoice& choice)
    : summary_(summary), choice_(choice) {
  for (const KeyFramePlace& place : choice.kept()) times_us_.push_back(place.output_us);
  OpenRecordedVideo(summary.folder, &video_);
}

bool RecordKeyFrames::Read(size_t place, KeyFrame* frame) {
  const KeyFramePlace& kept = choice_.kept()[place];
  frame->rotation = kept.rotation;
  frame->time_us = kept.output_us;
  return ReadKeyFrame(video_, kept, &frame->access_unit);
}

bool RecordKeyFrames::ShowsIcon(int64_t time_us) const {
  const std::vector<OutputSpan>& spans = summary_.replay.spans;
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), time_us,
                       [](int64_t time, const OutputSpan& span) { return time < span.start_us; });
  if (after == spans.begin()) return false;
  const OutputSpan& span = *std::prev(after);
  return time_us < span.end_us && span.filler != FillerReason::kNone &&
         span.filler != FillerReason::kStillShare;
}

}  // namespace kxrtc_host
