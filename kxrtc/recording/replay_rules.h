// The rules that turn a speaker record into an MP4: the output time of each sample, when the
// filler clip is shown, and what a writer is asked for. The transcoder follows them, and so does
// whoever wants to know beforehand what it will do. Nothing here logs or reads a file.
// All times are microseconds.
// Threads: functions any; a ReplayClock belongs to one thread at a time.
#ifndef KXRTC_RECORDING_REPLAY_RULES_H_
#define KXRTC_RECORDING_REPLAY_RULES_H_

#include <algorithm>
#include <cstdint>
#include <limits>

namespace kxrtc {

// Output time of one audio frame, for any content.
inline constexpr int64_t kAudioFrameDurationUs = 21333;

// Two video samples are never closer together.
inline constexpr int64_t kMinVideoSpacingUs = 10000;

// So far may audio run ahead of video before the filler clip is shown.
inline constexpr int64_t kVideoGapLimitUs = 5000000;
inline constexpr int64_t kVideoGapLimitWaitingForKeyFrameUs = 500000;

// The filler clip: so many pictures at this distance, with these attributes.
inline constexpr uint32_t kIconFrameCount = 8;
inline constexpr int64_t kIconFrameSpacingUs = 10000;
inline constexpr uint32_t kIconWidth = 640;  // Pixels.
inline constexpr uint32_t kIconHeight = 360;
inline constexpr int32_t kIconRotationAngle = 0;

// The picture that a writer is asked for.
struct VideoSettings {
  uint32_t width;  // Pixels.
  uint32_t height;
  uint32_t frame_rate;     // Frames a second.
  uint32_t bit_rate_kbps;  // kbit/s.
};

// `is_desktop`: the record contains a desktop share.
constexpr VideoSettings VideoSettingsFor(bool is_desktop) {
  return is_desktop ? VideoSettings{1280, 720, 24, 1200} : VideoSettings{640, 360, 24, 400};
}

// About how many bytes the MP4 of so many audio frames has.
// Intended: only the video's bytes are counted. Counts beyond 64 bits wrap.
constexpr int64_t EstimateMp4Size(uint64_t audio_frame_count, bool is_desktop) {
  const uint64_t millibits = audio_frame_count * static_cast<uint64_t>(kAudioFrameDurationUs) *
                             VideoSettingsFor(is_desktop).bit_rate_kbps;
  return static_cast<int64_t>(millibits) / 8000;
}

// Recorder times come from files and may have any value: sums stop at the ends of the range.
constexpr int64_t SaturatedAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

constexpr int64_t SaturatedSubtract(int64_t a, int64_t b) {
  int64_t difference = 0;
  if (!__builtin_sub_overflow(a, b, &difference)) return difference;
  return b < 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

// Maps recorder time to output time. Audio drives: each frame moves the output time on by its
// duration and anchors recorder time there. A picture lies as far behind the latest audio frame as
// it was recorded behind it. Sessions follow one another without a gap.
class ReplayClock {
 public:
  // A session starts: recorder times are measured from `recorder_time_us` from now on.
  void StartSession(int64_t recorder_time_us) { anchor_us_ = recorder_time_us; }

  // The output time of the next audio frame.
  int64_t PlaceAudio(int64_t recorder_time_us) {
    anchor_us_ = recorder_time_us;
    audio_us_ = SaturatedAdd(audio_us_, kAudioFrameDurationUs);
    return audio_us_;
  }

  // The output time of the next video sample. One recorded before the latest audio frame lands on
  // that frame, and none closer than kMinVideoSpacingUs to the sample before it.
  int64_t PlaceVideo(int64_t recorder_time_us) {
    video_us_ =
        std::max(OutputTimeOf(recorder_time_us), SaturatedAdd(video_us_, kMinVideoSpacingUs));
    return video_us_;
  }

  // The output time for this recorder time, according to the audio.
  int64_t OutputTimeOf(int64_t recorder_time_us) const {
    return SaturatedAdd(std::max<int64_t>(0, SinceAnchor(recorder_time_us)), audio_us_);
  }

  // How long after the latest audio frame, or the session's start, this was recorded.
  int64_t SinceAnchor(int64_t recorder_time_us) const {
    return SaturatedSubtract(recorder_time_us, anchor_us_);
  }

  // Audio ran too far ahead of video: the filler clip is due.
  bool IsVideoMissing(bool waits_for_key_frame) const {
    return audio_us_ > SaturatedAdd(video_us_, waits_for_key_frame
                                                   ? kVideoGapLimitWaitingForKeyFrameUs
                                                   : kVideoGapLimitUs);
  }

 private:
  int64_t anchor_us_ = 0;  // Recorder time of the session's start, then of each audio frame.
  int64_t audio_us_ = 0;   // Output time of the latest audio frame.
  int64_t video_us_ = 0;   // Output time of the latest video sample.
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_REPLAY_RULES_H_
