// Keeps video beside the audio when the recorder's clock stepped.
#ifndef HOST_SHARED_VIDEO_CLOCK_H_
#define HOST_SHARED_VIDEO_CLOCK_H_

#include <cstdint>

#include "host/shared/writer_status.h"

namespace kxrtc_host {

// A recorder's clock that is set forward between two audio frames sends the video far ahead, where
// it stays until the audio has caught up. Such samples are placed at the audio instead. Audio is
// never moved: it is the timeline. All times in microseconds of the file.
// Threads: an object belongs to one thread at a time.
class VideoClock {
 public:
  // Farther than this ahead of both the sample before it and the audio is a step of the clock.
  static constexpr int64_t kStepUs = 60000000;
  // So near to the audio the video is back in step.
  static constexpr int64_t kInStepUs = 100000;

  // Two samples are never farther apart than `longest_gap_us`; what comes later moves with it. With
  // `expects_audio` samples in front of all audio are held against its start: 0.
  VideoClock(int64_t longest_gap_us, bool expects_audio)
      : longest_gap_us_(longest_gap_us), audio_us_(expects_audio ? 0 : kNoAudio) {}

  void NoteAudio(int64_t time_us) { audio_us_ = time_us; }

  // Where the next sample belongs that was pushed for `time_us`.
  int64_t Place(int64_t time_us);

  // Adds what a user should know to the report.
  void Finish(WriterReport* report) const;

 private:
  int64_t FollowAudio(int64_t time_us);

  static constexpr int64_t kNoAudio = -1;

  const int64_t longest_gap_us_;
  int64_t audio_us_;     // Of the latest frame.
  int64_t last_us_ = 0;  // Where the latest sample was placed.
  bool stepped_ = false;
  uint64_t steps_ = 0;
  uint64_t moved_samples_ = 0;
  int64_t first_step_at_us_ = 0;
  int64_t first_step_us_ = 0;
  int64_t shortened_by_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_SHARED_VIDEO_CLOCK_H_
