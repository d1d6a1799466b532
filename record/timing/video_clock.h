// Keeps video in step with audio when the recorder's clock was changed.
#ifndef RECORD_TIMING_VIDEO_CLOCK_H_
#define RECORD_TIMING_VIDEO_CLOCK_H_

#include <cstdint>

namespace kxrtc_host {

// What the clock did to the video of a file, microseconds of the file.
struct VideoClockChanges {
  uint64_t steps = 0;            // How often the recorder's clock was set forward.
  int64_t first_step_at_us = 0;  // The first time: where, and by how much.
  int64_t first_step_us = 0;
  uint64_t moved_samples = 0;   // Placed at the audio instead.
  int64_t shortened_by_us = 0;  // Removed from pauses.
};

// When the recorder's clock is set forward between two audio frames, the video runs far ahead until
// the audio has caught up. Such samples are placed at the audio instead. Audio is never moved: it
// is the timeline. All times in microseconds of the file. Threads: an object belongs to one thread
// at a time.
class VideoClock {
 public:
  // A sample this far ahead of both the previous sample and the audio means a step of the clock.
  static constexpr int64_t kStepUs = 60000000;
  // No file has a longer pause: libavformat counts the microseconds of a sample in 31 bits, and
  // slightly less leaves room for its sums.
  static constexpr int64_t kLongestGapUs = 2000000000;
  // When the video is this close to the audio, it is in step again.
  static constexpr int64_t kInStepUs = 100000;

  // Two samples are never farther apart than `longest_gap_us`; later samples move with it. With
  // `expects_audio`, samples before all audio are compared with its start: 0.
  VideoClock(int64_t longest_gap_us, bool expects_audio)
      : longest_gap_us_(longest_gap_us), audio_us_(expects_audio ? 0 : kNoAudio) {}

  void NoteAudio(int64_t time_us) { audio_us_ = time_us; }

  // The time in the file of the next sample, which was pushed for `time_us`.
  int64_t Place(int64_t time_us);

  const VideoClockChanges& changes() const { return changes_; }

 private:
  int64_t FollowAudio(int64_t time_us);

  static constexpr int64_t kNoAudio = -1;

  const int64_t longest_gap_us_;
  int64_t audio_us_;     // Of the latest frame.
  int64_t last_us_ = 0;  // Where the latest sample was placed.
  bool stepped_ = false;
  VideoClockChanges changes_;
};

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_VIDEO_CLOCK_H_
