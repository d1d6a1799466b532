// Records as fast as it can until it is killed, or for a time: what the crash sweep, the clock test
// and the soak put under stress.
//
//   recording_load FOLDER/ VIDEO.264 AUDIO.adts [SECONDS [PAUSE_US]]
//
// Two participants send the access units of VIDEO.264 (cut at its access unit delimiters) over and
// over and take turns in speaking; the mixer delivers the ADTS frames of AUDIO.adts. After each
// frame its thread pauses (1000 us). Prints "recording" once frames are taken. Without SECONDS it
// never ends by itself.
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
#include "tests/testing/fake_audio_mixer.h"

namespace {

using kx_testing::FakeAudioFrame;
using kx_testing::FakeAudioMixer;
using kxrtc::EncodedImage;
using kxrtc::PeerConnectionConductor;
using kxrtc::SpeakerRecorder;

constexpr uint32_t kUsers[] = {1, 2};  // Also their ssrc.
constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 180;
constexpr int kTurnsASecond = 10;

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

struct Pace {
  std::atomic<bool> stopping{false};
  std::chrono::microseconds pause{1000};

  bool Next() const {
    if (pause.count() != 0) std::this_thread::sleep_for(pause);
    return !stopping.load();
  }
};

void SendVideo(SpeakerRecorder* recorder, const std::vector<std::string>& access_units,
               uint32_t ssrc, const Pace& pace) {
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

void SendAudio(SpeakerRecorder* recorder, const std::vector<std::string>& frames,
               const Pace& pace) {
  for (size_t i = 0; pace.Next(); i = (i + 1) % frames.size()) {
    FakeAudioFrame frame(frames[i]);
    recorder->OnEncodedData(&frame);
  }
}

void TakeTurns(SpeakerRecorder* recorder, const Pace& pace) {
  for (int turn = 0; !pace.stopping.load(); ++turn) {
    const uint8_t speaking[] = {turn % 2 == 0, turn % 2 != 0};
    recorder->UpdateVoiceActivity(kUsers, speaking, 2);
    std::this_thread::sleep_for(std::chrono::milliseconds(1000 / kTurnsASecond));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const std::vector<std::string> video = CutAtDelimiters(ReadWhole(argv[2]));
  const std::vector<std::string> audio = CutAtAdtsHeaders(ReadWhole(argv[3]));
  if (video.empty() || audio.empty()) return 2;
  Pace pace;
  if (argc > 5) pace.pause = std::chrono::microseconds(std::atol(argv[5]));

  FakeAudioMixer mixer;
  SpeakerRecorder recorder;
  if (!recorder.Initialize(argv[1], &mixer, nullptr)) return 1;
  const PeerConnectionConductor::media_type types[] = {PeerConnectionConductor::kCamera,
                                                       PeerConnectionConductor::kCamera};
  recorder.UpdateVideoSsrcMapping(false, kUsers, kUsers, types, 2);
  recorder.StartRecording();
  std::vector<std::thread> threads;
  for (uint32_t ssrc : kUsers) {
    threads.emplace_back(SendVideo, &recorder, std::cref(video), ssrc, std::cref(pace));
  }
  threads.emplace_back(SendAudio, &recorder, std::cref(audio), std::cref(pace));
  threads.emplace_back(TakeTurns, &recorder, std::cref(pace));
  std::puts("recording");
  std::fflush(stdout);
  if (argc > 4) {
    std::this_thread::sleep_for(std::chrono::duration<double>(std::atof(argv[4])));
    pace.stopping = true;
  }
  for (std::thread& thread : threads) thread.join();
  recorder.StopRecording();
  recorder.Finalize();
  return 0;
}
