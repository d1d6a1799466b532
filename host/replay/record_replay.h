// Replays a record that is only read: makes the calls into an MP4 writer that the library's replay
// makes, by the same rules.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_REPLAY_RECORD_REPLAY_H_
#define HOST_REPLAY_RECORD_REPLAY_H_

#include <cstdint>
#include <vector>

#include "kxrtc/recording/mp4_sink_writer.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/index/record_files.h"
#include "record/predict/replay_simulator.h"

namespace kxrtc_host {

class RecordReplay final : private ReplayEvents {
 public:
  enum class Step { kGoesOn, kEnd, kFailed };

  // Both are borrowed; the files are open.
  RecordReplay(RecordFiles* files, kxrtc::Mp4SinkWriter* writer);

  // Replays the next record of the index. kFailed: the log says why.
  [[nodiscard]] Step Next();

  uint64_t position() const { return walker_.position(); }  // In the index.

 private:
  bool ReadFrame(const IndexRecord& record);
  Step Fail();

  void OnSessionStart(int64_t, uint32_t) override {}
  void OnSessionStop() override {}
  void OnChannel(int64_t, int64_t, uint32_t) override {}
  void OnDroppedFrame(int64_t) override {}
  void OnAttributes(uint32_t width, uint32_t height, int32_t rotation_angle) override;
  void OnFrame(int64_t output_us, const IndexRecord& record, bool is_key) override;
  void OnAudio(int64_t output_us, const IndexRecord& record) override;
  void OnFiller(int64_t recorder_us, FillerReason reason) override;
  void OnFillerPicture(int64_t output_us) override;

  RecordFiles* const files_;
  kxrtc::Mp4SinkWriter* const writer_;
  IndexState state_;
  ReplaySimulator replay_;
  IndexWalker walker_;
  IndexRecord record_;
  const uint8_t* frame_ = nullptr;    // Of the record.
  std::vector<uint8_t> large_frame_;  // One that is larger than a window of its file.
  uint32_t next_filler_picture_ = 0;
  const char* refused_ = nullptr;  // The first call that the writer refused.
};

}  // namespace kxrtc_host

#endif  // HOST_REPLAY_RECORD_REPLAY_H_
