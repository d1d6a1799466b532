// Records a conference of two people into a speaker record: what a host does with threads that
// deliver video, a mixer that delivers audio, a listener that says what becomes of them, and a
// speaker timeline beside the record, which knows the names. The pictures and the sound are made
// up; a host passes on what its encoders produce.
//
//   record_conference RECORD_DIR [SECONDS]
#include <fcntl.h>
#include <sys/file.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "kxrtc/recording/speaker_recorder.h"
#include "record/speakers/speaker_timeline_writer.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPictureTime(40);
constexpr std::chrono::microseconds kAudioFrameTime(21333);  // 1024 samples at 48 kHz.
constexpr int kPicturesPerKeyFrame = 25;

// One camera: its own thread, since pictures of different people come at once.
class Camera {
 public:
  Camera(kxrtc::VideoFrameRelayCallback* recorder, uint32_t ssrc)
      : recorder_(recorder), ssrc_(ssrc), thread_([this] { Run(); }) {}
  ~Camera() {
    done_.store(true, std::memory_order_relaxed);
    thread_.join();
  }

 private:
  void Run() {
    Clock::time_point due = Clock::now();
    for (int i = 0; !done_.load(std::memory_order_relaxed); ++i) {
      SendPicture(i % kPicturesPerKeyFrame == 0);
      due += kPictureTime;
      std::this_thread::sleep_until(due);
    }
  }

  // One access unit in Annex B form. The recorder copies it, and believes `frame_type`.
  void SendPicture(bool key) {
    std::vector<uint8_t> access_unit = {0, 0, 0, 1, static_cast<uint8_t>(key ? 0x65 : 0x41)};
    access_unit.resize(key ? 4000 : 400, 0x80);
    kxrtc::EncodedImage image;
    image.encoded_width = 1280;
    image.encoded_height = 720;
    image.frame_type = key ? kxrtc::kVideoFrameTypeKey : 0;
    image.data = access_unit.data();
    image.length = static_cast<uint32_t>(access_unit.size());
    recorder_->OnEncodedFrame(&image, ssrc_);
  }

  kxrtc::VideoFrameRelayCallback* const recorder_;
  const uint32_t ssrc_;
  std::atomic<bool> done_{false};
  std::thread thread_;
};

class AudioFrame final : public kxrtc::EncodedAudioFrame {
 public:
  uint32_t GetLength() override { return sizeof(bytes_); }
  const uint8_t* GetData() override { return bytes_; }

 private:
  const uint8_t bytes_[200] = {0xFF, 0xF1};  // As an ADTS header begins.
};

// A mixer and the factory that hands it out. Once Stop() has returned the sink is not called, so it
// waits for its thread, which may be inside the recorder: the recorder never makes it wait there.
class Mixer final : public kxrtc::AudioFactory, public kxrtc::AudioMixerRecorder {
 public:
  bool CreateAudioMixerRecorder(kxrtc::AudioMixerRecorder** out) override {
    *out = this;
    return true;
  }
  void ReleaseAudioMixerRecorder(kxrtc::AudioMixerRecorder*) override {}

  // A call while it runs only changes what is mixed, which this mixer has no use for.
  bool Start(int /*mode*/, int /*source*/, kxrtc::AudioMixerRecorderSink* sink) override {
    if (thread_.joinable()) return true;
    done_.store(false, std::memory_order_relaxed);
    thread_ = std::thread([this, sink] { Run(sink); });
    return true;
  }

  bool Stop() override {
    done_.store(true, std::memory_order_relaxed);
    if (thread_.joinable()) thread_.join();
    return true;
  }

  bool GetAudioFormat(uint32_t* channels, uint32_t* sample_rate, uint32_t* bits) override {
    *channels = 2;
    *sample_rate = 48000;
    *bits = 16;
    return true;
  }

 private:
  void Run(kxrtc::AudioMixerRecorderSink* sink) {
    Clock::time_point due = Clock::now();
    while (!done_.load(std::memory_order_relaxed)) {
      AudioFrame frame;
      sink->OnEncodedData(&frame);
      due += kAudioFrameTime;
      std::this_thread::sleep_until(due);
    }
  }

  std::atomic<bool> done_{false};
  std::thread thread_;
};

// Called on the recorder's task thread. What it counts is read after Finalize(), which ends that
// thread.
class Listener final : public kxrtc::SpeakerRecorderListener {
 public:
  // False when the recording does not begin.
  bool WaitForStart() {
    return started_.get_future().wait_for(std::chrono::seconds(5)) == std::future_status::ready;
  }

  void OnRecordingStarted(int64_t /*timestamp_us*/) override { started_.set_value(); }
  void OnChannelSelected(const kxrtc::SelectedChannel& channel) override {
    std::printf("%.3f s: user %u, reason %u\n", static_cast<double>(channel.timestamp_us) / 1e6,
                channel.user_id, static_cast<unsigned>(channel.reason));
  }
  void OnFrameWritten(const kxrtc::WrittenFrame& frame) override {
    ++(frame.file == kxrtc::RecordFile::kVideo ? video_frames : audio_frames);
  }
  void OnWriteFailed(const kxrtc::FailedWrite& write) override { failed |= write.stops_recording; }

  int video_frames = 0;
  int audio_frames = 0;
  bool failed = false;

 private:
  std::promise<void> started_;
};

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc == 3 ? std::atoi(argv[2]) : 4;
  if (argc < 2 || argc > 3 || seconds <= 0) {
    std::fprintf(stderr, "usage: %s RECORD_DIR [SECONDS]\n", argv[0]);
    return 2;
  }
  // The recorder does not look for another one in the folder: the two would overwrite each other's
  // files. The lock is free again when the program ends.
  const int lock = open(argv[1], O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (lock >= 0 && flock(lock, LOCK_EX | LOCK_NB) != 0) {
    std::fprintf(stderr, "%s: another program records into this folder\n", argv[1]);
    return 1;
  }
  // Whatever the recorder borrows stands in front of it and so outlives it.
  Mixer mixer;
  Listener listener;
  kxrtc_host::SpeakerTimelineWriter timeline(&listener);  // Passes on what it hears.
  kxrtc::SpeakerRecorder recorder;
  recorder.SetListener(&timeline);
  const std::string folder = std::string(argv[1]) + "/";  // File names are appended as they are.
  if (!recorder.Initialize(folder, &mixer, nullptr)) {
    std::fprintf(stderr, "%s: the record cannot be created\n", argv[1]);
    return 1;
  }

  std::string error;
  if (!timeline.Create(folder, "An example", &error) || !timeline.Join(1, "Ada") ||
      !timeline.Join(2, "Ben")) {
    std::fprintf(stderr, "there will be no names: %s\n", error.c_str());
  }

  const uint32_t users[] = {1, 2};
  const uint32_t ssrcs[] = {11, 12};
  const kxrtc::PeerConnectionConductor::media_type types[] = {
      kxrtc::PeerConnectionConductor::kCamera, kxrtc::PeerConnectionConductor::kCamera};
  recorder.UpdateVideoSsrcMapping(false, ssrcs, users, types, 2);
  recorder.StartRecording();
  // Frames that come earlier are dropped, and the first ones are key frames.
  if (!listener.WaitForStart()) {
    std::fprintf(stderr, "%s: the recording does not start\n", argv[1]);
    return 1;
  }
  {
    const Camera first(&recorder, ssrcs[0]);
    const Camera second(&recorder, ssrcs[1]);
    for (int i = 0; i < seconds; ++i) {  // They take turns, two seconds each.
      const bool first_speaks = i / 2 % 2 == 0;
      const uint8_t speaking[] = {first_speaks, !first_speaks};
      recorder.UpdateVoiceActivity(users, speaking, 2);
      timeline.SetSpeaking({first_speaks ? users[0] : users[1]});
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
  }
  recorder.StopRecording();
  recorder.Finalize();  // Returns when everything stands in the files.
  if (!timeline.Close()) std::fprintf(stderr, "names are missing: %s\n", timeline.error().c_str());

  std::printf("%d video and %d audio frames\n", listener.video_frames, listener.audio_frames);
  return listener.failed ? 1 : 0;
}
