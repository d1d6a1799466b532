// Predicts the samples of the MP4: those that either mode of the MP4 writer makes of the calls of
// the replay.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_PREDICT_FILE_PREDICTION_H_
#define RECORD_PREDICT_FILE_PREDICTION_H_

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "files/read_only_file.h"
#include "record/check/adts.h"
#include "record/check/sound_examiner.h"
#include "record/predict/copy_selection.h"
#include "record/predict/replay_simulator.h"
#include "record/timing/file_timeline.h"
#include "record/timing/icon_hold.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {

// The audio frames that the MP4 contains. The first frame that has an ADTS header decides the
// framing of all; without one among the first, they are raw frames.
class AudioFrames {
 public:
  // `file` is borrowed: the recorded sound.
  explicit AudioFrames(ReadOnlyFile* file) : file_(file) {}

  // The next frame, at `placed_us` of output time from the start of the file on.
  void Push(int64_t placed_us, const IndexRecord& record);
  void Finish();

  // Has raw frames tried with a decoder, as the MP4 writer does: up to the first that decodes.
  // False if so many in a row do not that the writer refuses the sound. Without this they count as
  // AAC.
  [[nodiscard]] bool Recognise(SoundExaminer* examiner, uint32_t channel_count);

  bool is_known() const { return is_known_; }  // The frames have decided the framing.
  uint64_t count() const { return count_; }
  int64_t end_us() const;

 private:
  struct PlacedFrame {
    int64_t placed_us;
    uint64_t position;  // In the file.
    uint32_t size;
  };

  void Write(int64_t placed_us);
  void SettleRaw();

  ReadOnlyFile* file_;
  bool is_known_ = false;
  AudioFraming framing_;
  std::vector<PlacedFrame> first_;  // The first raw frames, while no frame has an ADTS header.
  uint64_t count_ = 0;
  int64_t last_time_ = -1;  // Of the last frame, in samples.
};

// Leaves out pictures of the filler clip like the MP4 writer does. Times are those of the file.
class PicturesWithoutFlash {
 public:
  void OnAttributes() { has_new_attributes_ = true; }
  void PushIcon(int64_t time_us, const AccessUnitContents& contents);
  void PushRecorded(int64_t time_us, const AccessUnitContents& contents);

 protected:
  explicit PicturesWithoutFlash(ClipPictures clip_pictures) : hold_(clip_pictures) {}
  ~PicturesWithoutFlash() = default;

  void ShowDueIcons(int64_t time_us);
  void FinishIcons(int64_t end_us);

  // What is left, in the order of the file.
  virtual void SetAttributes() = 0;
  virtual void Write(int64_t time_us, const AccessUnitContents& contents) = 0;

 private:
  struct HeldIcon {
    int64_t time_us;
    AccessUnitContents contents;
  };

  void ShowHeldIcons();
  void PassAttributes();

  IconHold hold_;
  std::vector<HeldIcon> held_;
  bool has_new_attributes_ = false;
};

// The pictures of copy mode.
class CopiedPictures final : public PicturesWithoutFlash {
 public:
  CopiedPictures() : PicturesWithoutFlash(ClipPictures::kFirst) {}

  void OnAudio(int64_t time_us) { ShowDueIcons(time_us); }
  void Finish(int64_t audio_end_us);

  uint64_t count() const { return count_; }
  int64_t end_us() const { return end_us_; }
  int64_t last_us() const { return last_us_; }  // Of the latest picture.

  // Key frames up to this time count for last_key_us().
  void WatchKeysUntil(int64_t time_us) { watched_until_us_ = time_us; }
  std::optional<int64_t> last_key_us() const { return last_key_us_; }

 private:
  void SetAttributes() override { selection_.OnAttributes(); }
  void Write(int64_t time_us, const AccessUnitContents& contents) override;

  CopySelection selection_;
  uint64_t count_ = 0;
  int64_t last_us_ = 0;
  int64_t last_duration_us_ = 0;
  int64_t end_us_ = 0;
  int64_t watched_until_us_ = std::numeric_limits<int64_t>::min();
  std::optional<int64_t> last_key_us_;
};

// The pictures of encode mode: one for each tick of the track. Damage inside a picture is not
// looked for.
class EncodedPictures final : public PicturesWithoutFlash {
 public:
  explicit EncodedPictures(int64_t frame_rate)
      : PicturesWithoutFlash(ClipPictures::kAll), frame_rate_(frame_rate) {}

  void OnAudio(int64_t time_us);
  void Finish(int64_t audio_end_us);

  uint64_t count() const { return count_; }
  int64_t end_us() const { return end_us_; }

 private:
  int64_t HalfTickUs() const { return kMicrosecondsPerSecond / frame_rate_ / 2; }
  int64_t TickTimeUs(int64_t tick) const;
  int64_t TickAtOrAfter(int64_t time_us) const;
  int64_t TickAtOrBefore(int64_t time_us) const;
  void ShowUntil(int64_t time_us);
  void SetNextTick(int64_t tick);

  void SetAttributes() override {}
  void Write(int64_t time_us, const AccessUnitContents& contents) override;

  const int64_t frame_rate_;
  CopySelection selection_;  // A decoder keeps parameter sets, so it never hears of attributes.
  bool has_picture_ = false;
  int64_t next_tick_ = 0;     // The first that is not counted yet.
  int64_t next_tick_us_ = 0;  // Its time.
  int64_t last_us_ = -1;      // Of the last sample pushed.
  int64_t shown_until_us_ = 0;
  uint64_t count_ = 0;
  int64_t end_us_ = 0;
};

class FilePrediction final : public ReplayEvents {
 public:
  // `audio` is borrowed. `expects_audio`: the replay pushes audio frames. `frame_rate`: of encoded
  // video.
  FilePrediction(ReadOnlyFile* audio, bool expects_audio, uint32_t frame_rate)
      : timeline_(VideoClock::kLongestGapUs, expects_audio), audio_(audio), encoded_(frame_rate) {}

  // What is in the video frame of the next record.
  void NoteContents(const AccessUnitContents& contents) { contents_ = contents; }

  void OnSessionStart(int64_t, uint32_t) override {}
  void OnSessionStop() override {}
  void OnChannel(int64_t, int64_t, uint32_t) override {}
  void OnDroppedFrame(int64_t) override {}
  void OnAttributes(uint32_t, uint32_t, int32_t) override { copied_.OnAttributes(); }
  void OnFrame(int64_t output_us, const IndexRecord& record, bool is_key) override;
  void OnAudio(int64_t output_us, const IndexRecord& record) override;
  void OnFiller(int64_t recorder_us, FillerReason reason) override;
  void OnFillerPicture(int64_t output_us) override;

  AudioFrames* audio() { return &audio_; }
  CopiedPictures* copied_pictures() { return &copied_; }

  // The replay ended, with or without a failure, and the audio frames are final.
  void Finish();

  // Of the audio and the pictures of either mode.
  FileContents copied() const;
  FileContents encoded() const;

 private:
  FileTimeline timeline_;
  AudioFrames audio_;
  CopiedPictures copied_;
  EncodedPictures encoded_;
  AccessUnitContents contents_;
  bool is_first_of_filler_ = false;
  bool share_stands_still_ = false;  // At the latest filler clip.
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_FILE_PREDICTION_H_
