// Follows the records of an index like the transcoder's replay. Reports each call of the replay to
// the MP4 writer, with a reason for each stretch of filler.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_PREDICT_REPLAY_SIMULATOR_H_
#define RECORD_PREDICT_REPLAY_SIMULATOR_H_

#include <cstdint>
#include <optional>
#include <string>

#include "kxrtc/recording/replay_rules.h"
#include "record/check/record_summary.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

// Receives what the replay does, in order.
class ReplayEvents {
 public:
  virtual ~ReplayEvents() = default;

  // Records of the index. `since_anchor_us`: after the latest audio frame or the session's
  // start.
  virtual void OnSessionStart(int64_t recorder_us, uint32_t media_type) = 0;
  virtual void OnSessionStop() = 0;
  virtual void OnChannel(int64_t recorder_us, int64_t since_anchor_us, uint32_t media_type) = 0;
  virtual void OnDroppedFrame(int64_t recorder_us) = 0;

  // The calls into the writer, in output time.
  virtual void OnAttributes(uint32_t width, uint32_t height, int32_t rotation_angle) = 0;
  virtual void OnFrame(int64_t output_us, const IndexRecord& record, bool is_key) = 0;
  virtual void OnAudio(int64_t output_us, const IndexRecord& record) = 0;

  // The filler clip: one call, then one for each of its pictures.
  virtual void OnFiller(int64_t recorder_us, FillerReason reason) = 0;
  virtual void OnFillerPicture(int64_t output_us) = 0;
};

class ReplaySimulator {
 public:
  struct Failure {
    std::string reason;
    std::optional<int64_t> recorder_us;  // If a record is the cause.
  };

  // Both are borrowed.
  ReplaySimulator(const IndexState* state, ReplayEvents* events) : state_(state), events_(events) {}

  // The next record, which has `fault` in its place and which the state has not taken yet.
  // `is_key`: a video frame that holds a key frame. After a failure nothing more happens.
  void OnRecord(const IndexRecord& record, RecordFault fault, bool is_key);

  // The step of the walker at `offset` is neither a record nor the end.
  void OnBrokenIndex(IndexWalker::Step step, uint64_t offset);

  // The index ends.
  void Finish();

  // Where and why the replay stops; none when it reaches the end.
  const std::optional<Failure>& failure() const { return failure_; }

  // True when the next video frame is dropped unless it is a key frame.
  bool needs_key_frame() const { return need_key_frame_; }

  // True while the writer shows the icon and uses its parameter sets.
  bool shows_icon() const { return shows_icon_; }

 private:
  void Fail(const Failure& failure);
  void OnChannel(const IndexRecord& record);
  void OnVideo(const IndexRecord& record, bool is_key);
  void OnAudio(const IndexRecord& record);
  void SetAttributes(bool icon);
  void PushFiller(int64_t recorder_us, FillerReason reason);

  const IndexState* state_;
  ReplayEvents* events_;
  std::optional<Failure> failure_;
  uint64_t sessions_ = 0;
  kxrtc::ReplayClock clock_;
  kxrtc::NewVideoAttributesRecord attributes_;
  bool video_pushed_ = false;
  bool need_key_frame_ = true;
  bool shows_icon_ = false;
  bool has_picture_ = false;  // A frame of the current channel was pushed.
  bool in_gap_ = false;       // The icon fills a gap, and no frame has come since.
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_REPLAY_SIMULATOR_H_
