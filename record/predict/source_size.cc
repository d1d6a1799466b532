#include "record/predict/source_size.h"

#include <utility>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/index/frame_limit.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/predict/replay_simulator.h"
#include "record/stream/annex_b.h"
#include "record/timing/rotation.h"

namespace kxrtc_host {
namespace {

// Follows the sizes of the pictures that the replay pushes.
class SizeFollower final : public ReplayEvents {
 public:
  explicit SizeFollower(const ReadOnlyFile* video) : video_(video) {}

  const std::optional<PictureSize>& largest() const { return largest_; }

  // The bytes of a frame, until the next call.
  const std::vector<uint8_t>& Frame(const kxrtc::MediaDataRecord& data) {
    const bool is_there = data.size <= kMaxFrameBytes && LiesInside(data, video_->size());
    frame_.resize(is_there ? data.size : 0);
    frame_.resize(video_->Read(data.start_position, frame_.data(), frame_.size()));
    return frame_;
  }

  void OnSessionStart(int64_t, uint32_t) override {}
  void OnSessionStop() override {}
  void OnChannel(int64_t, int64_t, uint32_t) override {}
  void OnDroppedFrame(int64_t) override {}
  void OnAttributes(uint32_t width, uint32_t height, int32_t rotation) override {
    attributes_ = {width, height};
    rotation_ = rotation;
    is_new_ = true;
  }
  // The attributes are what the recorder was told; the stream knows better.
  void OnFrame(int64_t, const IndexRecord& record, bool) override {
    if (!std::exchange(is_new_, false)) return;
    PictureSize size = attributes_;
    const std::vector<uint8_t>& frame = Frame(record.data);
    SplitAccessUnit(frame.data(), static_cast<uint32_t>(frame.size()), &units_);
    for (const NalUnit& unit : units_) {
      if (unit.type() != kxrtc::H264::kNaluTypeSps) continue;
      if (const auto sps = ReadSequenceParameters(unit)) size = sps->size;
    }
    Note(size);
  }
  void OnAudio(int64_t, const IndexRecord&) override {}
  void OnFiller(int64_t, FillerReason) override {}
  void OnFillerPicture(int64_t) override {}

 private:
  void Note(PictureSize size) {
    if (IsSideways(NormalRotation(rotation_))) std::swap(size.width, size.height);
    if (size.width == 0 || size.height == 0) return;
    const auto pixels = [](const PictureSize& of) { return uint64_t{of.width} * of.height; };
    if (largest_ && (pixels(size) < pixels(*largest_) ||
                     (pixels(size) == pixels(*largest_) && size.width <= largest_->width))) {
      return;
    }
    largest_ = size;
  }

  const ReadOnlyFile* const video_;
  std::vector<uint8_t> frame_;
  std::vector<NalUnit> units_;
  PictureSize attributes_;
  int32_t rotation_ = 0;
  bool is_new_ = false;  // No picture came since the attributes.
  std::optional<PictureSize> largest_;
};

}  // namespace

std::optional<PictureSize> LargestSourceSize(RecordFiles* files) {
  SizeFollower sizes(&files->video);
  IndexState state(&files->video, &files->audio);
  ReplaySimulator replay(&state, &sizes);
  IndexWalker walker(&files->index);
  IndexRecord record;
  while (!replay.failure() && walker.Next(&record) == IndexWalker::Step::kRecord) {
    bool is_key = false;
    if (record.header.type == kxrtc::kVideoData && replay.needs_key_frame()) {
      const std::vector<uint8_t>& frame = sizes.Frame(record.data);
      is_key = kxrtc::H264::IsKeyFrame(frame.data(), static_cast<uint32_t>(frame.size()));
    }
    replay.OnRecord(record, state.FaultOf(record), is_key);
    state.Take(record);
  }
  return sizes.largest();
}

}  // namespace kxrtc_host
