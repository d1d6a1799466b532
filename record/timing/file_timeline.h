// Gives each sample that the transcoder pushes its time in the MP4. The record tools predict with
// the same rules.
#ifndef RECORD_TIMING_FILE_TIMELINE_H_
#define RECORD_TIMING_FILE_TIMELINE_H_

#include <cstdint>

#include "record/timing/video_clock.h"

namespace kxrtc_host {

// Where something that happened at `output_us` is in a file that starts at `start_us`, both output
// time: microseconds of the file, never negative.
int64_t FileTimeOf(int64_t output_us, int64_t start_us);

// Moves a timeline that starts far from 0 back to 0. A transcoder that is started again continues
// with its old clock; without the move a player would show nothing for that time.
// Threads: one at a time.
class TimelineStart {
 public:
  // A start up to here is normal and stays: the first frames come within a second.
  static constexpr int64_t kFarFromZeroUs = 1000000;

  // The time of a picture in the file. The first sample decides by how much all samples are moved:
  // by whole audio frames, so that audio stays on its grid.
  int64_t RebaseVideo(int64_t timestamp_us);

  // The same for an audio frame. A frame before the start means that the picture before it came
  // late in the recording; the clock did not continue from an earlier run. The move is then decided
  // again, and the pictures written so far are shown from the start.
  int64_t RebaseAudio(int64_t timestamp_us);

  // Output time at the start of the file; final after the last sample.
  int64_t start_us() const { return moved_by_us_; }

 private:
  void Settle(int64_t timestamp_us);

  bool started_ = false;
  int64_t moved_by_us_ = 0;
};

// Both rules for the time of a file: where it starts, and where pictures go after the recorder's
// clock was changed.
// Threads: one at a time.
class FileTimeline {
 public:
  // Two pictures are never farther apart than `longest_gap_us`. `expects_audio`: audio frames
  // will come, so a step of the clock differs from a pause even before the first of them.
  FileTimeline(int64_t longest_gap_us, bool expects_audio)
      : video_clock_(longest_gap_us, expects_audio) {}

  // Microseconds of the file for a picture pushed for `timestamp_us` of output time; never
  // negative.
  int64_t PlaceVideo(int64_t timestamp_us);

  // Output time, from the start of the file on, of an audio frame pushed for `timestamp_us`; never
  // negative.
  int64_t PlaceAudio(int64_t timestamp_us);

  int64_t start_us() const { return start_.start_us(); }
  const VideoClockChanges& video_changes() const { return video_clock_.changes(); }

 private:
  TimelineStart start_;
  VideoClock video_clock_;
};

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_FILE_TIMELINE_H_
