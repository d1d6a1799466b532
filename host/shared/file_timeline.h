// Where in the file belongs what a transcoder pushes. The record tools predict with the same rules.
#ifndef HOST_SHARED_FILE_TIMELINE_H_
#define HOST_SHARED_FILE_TIMELINE_H_

#include <cstdint>

#include "host/shared/video_clock.h"

namespace kxrtc_host {

// Moves a timeline that starts far from 0 to its start: a transcoder that is started again goes on
// with its old clock, and a player would show nothing for that long.
// Threads: one at a time.
class TimelineStart {
 public:
  // A start up to here is natural and stays: the first frames lie within a second.
  static constexpr int64_t kFarFromZeroUs = 1000000;

  // The place of a picture on the timeline of the file. The first sample settles by how much all
  // are moved: by whole audio frames, so that audio stays on its grid.
  int64_t RebaseVideo(int64_t timestamp_us);

  // The same for an audio frame. One that would lie before the start shows that the picture in
  // front of it came late in a recording, not from a clock that goes on: it settles anew, and the
  // pictures written so far are shown from the start on.
  int64_t RebaseAudio(int64_t timestamp_us);

 private:
  void Settle(int64_t timestamp_us);

  bool started_ = false;
  int64_t moved_by_us_ = 0;
};

// Both rules for the time of a file: where it starts, and what happens to its pictures when the
// recorder's clock stepped.
// Threads: one at a time.
class FileTimeline {
 public:
  // Two pictures are never farther apart than `longest_gap_us`. `expects_audio`: frames of audio
  // are to come, which tells a step of the clock from a pause also in front of them.
  FileTimeline(int64_t longest_gap_us, bool expects_audio)
      : video_clock_(longest_gap_us, expects_audio) {}

  // Microseconds of the file for a picture pushed for `timestamp_us` of output time; never
  // negative.
  int64_t PlaceVideo(int64_t timestamp_us);

  // Output time, from the start of the file on, of an audio frame pushed for `timestamp_us`; never
  // negative.
  int64_t PlaceAudio(int64_t timestamp_us);

  const VideoClock& video_clock() const { return video_clock_; }

 private:
  TimelineStart start_;
  VideoClock video_clock_;
};

}  // namespace kxrtc_host

#endif  // HOST_SHARED_FILE_TIMELINE_H_
