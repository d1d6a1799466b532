// A recorder with its folder, its mixer and short ways to feed it.
#ifndef TESTS_TESTING_RECORDED_CONFERENCE_H_
#define TESTS_TESTING_RECORDED_CONFERENCE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kx_utility/event.h"
#include "kxrtc/recording/speaker_recorder.h"
#include "tests/testing/fake_audio_mixer.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {

// Fails the running test when something does not happen within this time.
inline constexpr int kDeadlineMs = 20000;

// Users have the numbers of their channels: user 1 has ssrc 11, user 2 has ssrc 12.
class RecordedConference {
  // In front of the recorder, which may use it until it is destroyed.
  kx_utility::Event mixer_started_{false, false};

 public:
  RecordedConference();

  // Waits until every task queued so far has run; no start may be among them. Needs a running
  // recording, whose mixer it starts once more, and leaves the line "INFO new source = 3".
  void Drain();

  // StartRecording(), then Drain().
  void StartAndDrain();

  // Replaces the remote channels.
  void MapRemote(const std::vector<kxrtc::VideoChannelInfo>& channels);
  void Voices(const std::vector<kxrtc::VoiceActivity>& activities);

  bool Key(uint32_t ssrc, const std::string& bytes, uint32_t rotation = 0);
  bool Delta(uint32_t ssrc, const std::string& bytes, uint32_t rotation = 0);
  bool Audio(const std::string& bytes);

  TempDir dir;
  FakeAudioMixer mixer;
  kxrtc::SpeakerRecorder recorder;

 private:
  bool Video(uint32_t ssrc, int32_t frame_type, const std::string& bytes, uint32_t rotation);
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_RECORDED_CONFERENCE_H_
