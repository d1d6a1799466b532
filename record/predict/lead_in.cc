#include "record/predict/lead_in.h"

#include <vector>

#include "kxrtc/recording/replay_rules.h"
#include "record/index/frame_limit.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/predict/file_prediction.h"
#include "record/predict/record_outline.h"
#include "record/predict/replay_simulator.h"
#include "record/stream/access_unit_contents.h"

namespace kxrtc_host {
namespace {

AccessUnitContents ReadContents(const kxrtc::MediaDataRecord& data, const ReadOnlyFile& video,
                                std::vector<uint8_t>* frame) {
  if (data.size > kMaxFrameBytes || !LiesInside(data, video.size())) return {};
  frame->resize(data.size);
  const size_t size = video.Read(data.start_position, frame->data(), frame->size());
  return ContentsOf(frame->data(), static_cast<uint32_t>(size));
}

}  // namespace

std::optional<int64_t> FindLeadIn(RecordFiles* files, int64_t from_us) {
  constexpr uint32_t kFrameRate = kxrtc::VideoSettingsFor(false).frame_rate;  // Copies have none.
  FilePrediction prediction(&files->audio, ReplaysAudio(files), kFrameRate);
  CopiedPictures* const pictures = prediction.copied_pictures();
  pictures->WatchKeysUntil(from_us);
  IndexState state(&files->video, &files->audio);
  ReplaySimulator replay(&state, &prediction);
  IndexWalker walker(&files->index);
  IndexRecord record;
  std::vector<uint8_t> frame;
  while (pictures->last_us() <= from_us && !replay.failure() &&
         walker.Next(&record) == IndexWalker::Step::kRecord) {
    AccessUnitContents contents;
    if (record.header.type == kxrtc::kVideoData) {
      contents = ReadContents(record.data, files->video, &frame);
      prediction.NoteContents(contents);
    }
    replay.OnRecord(record, state.FaultOf(record), contents.idr);
    state.Take(record);
  }
  return pictures->last_key_us();
}

}  // namespace kxrtc_host
