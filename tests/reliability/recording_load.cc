// Records many times as fast as life until it is killed, or for a time: what the crash sweep, the
// clock test and the soak put under stress.
//
//   recording_load FOLDER/ VIDEO.264 AUDIO.adts [SECONDS [RATE]]
//
// Two participants send the access units of VIDEO.264 (cut at its access unit delimiters) over and
// over, 24 * RATE of them a second, and take turns in speaking; the mixer delivers the ADTS frames
// of AUDIO.adts, 48000 / 1024 * RATE a second (RATE is 40). A thread that falls behind makes up for
// it. Prints "recording" once frames are taken. Without SECONDS it never ends by itself.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "kxrtc/recording/speaker_recorder.h"
#include "record/speakers/speaker_timeline_writer.h"
#include "tests/testing/fake_audio_mixer.h"

namespace {

using kx_testing::FakeAudioFrame;
using kx_testing::FakeAudioMixer;
using kxrtc::EncodedImage;
using kxrtc::PeerConnectionConductor;
using kxrtc::SpeakerRecorder;
using kxrtc_host::SpeakerTimelineWriter;

constexpr uint32_t kUsers[] = {1, 2};  // Also their ssrc.
constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 180;
constexpr int kTurnsASecond = 10;
constexpr double kPicturesASecond = 24;
constexpr double kAudioFramesASecond = 48000.0 / 1024;
constexpr double kRate = 40;

std::string ReadWhole(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// ITU-T H.264 clause 7.4.1.2.3: an access unit delimiter opens its access unit.
std::vector<std::string> CutAtDelimiters(const std::string& stream) {
  const std::string delimiter("\0\0\0\1\x09", 5);
  std::vector<std::string> access_units;
  for (size_t start = stream.find(delimiter); start != std::string::npos;) {
    const size_t next = stream.find(delimiter, start + delimiter.size());
    access_units.push_back(stream.substr(start, next - start));
    start = next;
  }
  return access_units;
}

// ISO/IEC 14496-3: a frame's length stands in 13 bits from bit 30 of its ADTS header on.
std::vector<std::string> CutAtAdtsHeaders(const std::string& stream) {
  std::vector<std::string> frames;
  for (size_t start = 0; start + 7 <= stream.size();) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(stream[start + i]); };
    const size_t length = static_cast<size_t>((byte(3) & 3) << 11 | byte(4) << 3 | byte(5) >> 5);
    if (length < 7) break;
    frames.push_back(stream.substr(start, length));
    start += length;
  }
  return frames;
}

bool IsKeyFrame(const std::string& access_unit) {
  return access_unit.find(std::string("\0\0\1\x65", 4)) != std::string::npos;
}

using Seconds = std::chrono::duration<double>;

// When the frames of one thread are due.
class Pace {
 public:
  Pace(double frames_a_second, const std::atomic<bool>* stopping)
      : period_(1 / frames_a_second), stopping_(stopping) {}

  // Waits for the next frame's time; false when there is to be none.
  bool Next() {
    ++count_;
    std::this_thread::sleep_until(
        start_ + std::chrono::duration_cast<std::chrono::nanoseconds>(count_ * period_));
    return !stopping_->load();
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  const Seconds period_;
  const std::atomic<bool>* stopping_;
  double count_ = 0;
};

void SendVideo(SpeakerRecorder* recorder, const std::vector<std::string>& access_units,
               uint32_t ssrc, Pace pace) {
  for (size_t i = 0; pace.Next(); i = (i + 1) % access_units.size()) {
    EncodedImage image;
    image.encoded_width = kWidth;
    image.encoded_height = kHeight;
    image.frame_type = IsKeyFrame(access_units[i]) ? kxrtc::kVideoFrameTypeKey : 0;
    image.data = reinterpret_cast<const uint8_t*>(access_units[i].data());
    image.length = static_cast<uint32_t>(access_units[i].size());
    recorder->OnEncodedFrame(&image, ssrc);
  }
}

void SendAudio(SpeakerRecorder* recorder, const std::vector<std::string>& frames, Pace pace) {
  for (size_t i = 0; pace.Next(); i = (i + 1) % frames.size()) {
    FakeAudioFrame frame(frames[i]);
    recorder->OnEncodedData(&frame);
  }
}

void TakeTurns(SpeakerRecorder* recorder, SpeakerTimelineWriter* timeline, Pace pace) {
  for (int turn = 0; pace.Next(); ++turn) {
    const uint8_t speaking[] = {turn % 2 == 0, turn % 2 != 0};
    recorder->UpdateVoiceActivity(kUsers, speaking, 2);
    timeline->SetSpeaking({kUsers[turn % 2]});
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const std::vector<std::string> video = CutAtDelimiters(ReadWhole(argv[2]));
  const std::vector<std::string> audio = CutAtAdtsHeaders(ReadWhole(argv[3]));
  if (video.empty() || audio.empty()) return 2;
  const double rate = argc > 5 ? std::atof(argv[5]) : kRate;

  FakeAudioMixer mixer;
  SpeakerTimelineWriter timeline(nullptr);
  std::string error;
  if (!timeline.Create(argv[1], "Load", &error)) return 1;
  for (const uint32_t user : kUsers) (void)timeline.Join(user, "user");  // Cannot be refused.
  SpeakerRecorder recorder;
  recorder.SetListener(&timeline);
  if (!recorder.Initialize(argv[1], &mixer, nullptr)) return 1;
  const PeerConnectionConductor::media_type types[] = {PeerConnectionConductor::kCamera,
                                                       PeerConnectionConductor::kCamera};
  recorder.UpdateVideoSsrcMapping(false, kUsers, kUsers, types, 2);
  recorder.StartRecording();
  std::atomic<bool> stopping{false};
  std::vector<std::thread> threads;
  for (uint32_t ssrc : kUsers) {
    threads.emplace_back(SendVideo, &recorder, std::cref(video), ssrc,
                         Pace(kPicturesASecond * rate, &stopping));
  }
  threads.emplace_back(SendAudio, &recorder, std::cref(audio),
                       Pace(kAudioFramesASecond * rate, &stopping));
  threads.emplace_back(TakeTurns, &recorder, &timeline, Pace(kTurnsASecond, &stopping));
  std::puts("recording");
  std::fflush(stdout);
  if (argc > 4) {
    std::this_thread::sleep_for(Seconds(std::atof(argv[4])));
    stopping = true;
  }
  for (std::thread& thread : threads) thread.join();
  recorder.StopRecording();
  recorder.Finalize();
  return 0;
}
