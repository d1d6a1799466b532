// A record of a made-up conference with real media in it.
#ifndef TESTS_TESTING_CONFERENCE_RECORD_H_
#define TESTS_TESTING_CONFERENCE_RECORD_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/testing/real_media.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {

// Lays real frames into a record in the order of their times: audio all the time, video where a
// participant speaks.
class ConferenceRecord {
 public:
  // `audio` is used up front to back, one frame every 64/3 ms.
  ConferenceRecord(const TempDir& dir, std::vector<std::string> audio)
      : builder_(dir), audio_(std::move(audio)) {}

  ConferenceRecord& Start();
  ConferenceRecord& Stop();

  // Nobody shows a picture for so long.
  ConferenceRecord& AudioOnly(int ms);

  // The participant speaks, one access unit every 1/24 s, the first `skipped_pictures` lost.
  ConferenceRecord& Speaks(uint32_t media_type, const VideoSpec& spec, int32_t rotation = 0,
                           size_t skipped_pictures = 0);

  // The picture of the present channel stops, the sound goes on.
  ConferenceRecord& Gap(int ms);

  RecordBuilder& builder() { return builder_; }
  size_t audio_frames() const { return next_audio_; }
  size_t video_frames() const { return video_frames_; }

 private:
  void AudioUntil(int64_t time_us);
  // The recorder never writes two records with one time.
  int64_t Tick() { return now_us_++; }

  RecordBuilder builder_;
  std::vector<std::string> audio_;
  size_t next_audio_ = 0;
  size_t video_frames_ = 0;
  int64_t now_us_ = 0;              // Recorder time.
  int64_t next_audio_us_ = 0;       // Likewise.
  int64_t audio_frame_thirds_ = 0;  // Thirds of a microsecond beyond next_audio_us_.
};

// Seconds 0 to about 26, two sessions: filler, a camera of 640x360 (High), a desktop of 1280x720
// (Baseline, four slices), a gap, a camera of 320x240 (Main), filler, a camera of 360x640 that is
// turned by 90 degrees, filler.
void WriteLongConference(const TempDir& dir, bool with_adts);

// Samples that a replay of WriteLongConference() yields.
inline constexpr int kLongConferenceAudioFrames = 1218;

}  // namespace kx_testing

#endif  // TESTS_TESTING_CONFERENCE_RECORD_H_
