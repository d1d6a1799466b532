#include "record/predict/replayed_pictures.h"

#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/index/frame_limit.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/predict/replay_simulator.h"

namespace kxrtc_host {
namespace {

class PictureCount final : public ReplayEvents {
 public:
  uint64_t count() const { return count_; }

  void OnSessionStart(int64_t, uint32_t) override {}
  void OnSessionStop() override {}
  void OnChannel(int64_t, int64_t, uint32_t) override {}
  void OnDroppedFrame(int64_t) override {}
  void OnAttributes(uint32_t, uint32_t, int32_t) override {}
  void OnFrame(int64_t, const IndexRecord&, bool) override { ++count_; }
  void OnAudio(int64_t, const IndexRecord&) override {}
  void OnFiller(int64_t, FillerReason) override {}
  void OnFillerPicture(int64_t) override { ++count_; }

 private:
  uint64_t count_ = 0;
};

bool IsKey(const kxrtc::MediaDataRecord& data, const ReadOnlyFile& video,
           std::vector<uint8_t>* frame) {
  if (data.size > kMaxFrameBytes || !LiesInside(data, video.size())) return false;
  frame->resize(data.size);
  const size_t size = video.Read(data.start_position, frame->data(), frame->size());
  return kxrtc::H264::IsKeyFrame(frame->data(), static_cast<uint32_t>(size));
}

}  // namespace

uint64_t CountReplayedPictures(RecordFiles* files) {
  PictureCount pictures;
  IndexState state(&files->video, &files->audio);
  ReplaySimulator replay(&state, &pictures);
  IndexWalker walker(&files->index);
  IndexRecord record;
  std::vector<uint8_t> frame;
  while (!replay.failure() && walker.Next(&record) == IndexWalker::Step::kRecord) {
    const bool is_video = record.header.type == kxrtc::kVideoData;
    const bool is_key =
        is_video && replay.needs_key_frame() && IsKey(record.data, files->video, &frame);
    replay.OnRecord(record, state.FaultOf(record), is_key);
    state.Take(record);
  }
  return pictures.count();
}

}  // namespace kxrtc_host
