// What a frame costs the thread of the host that delivers it. The cheaper this is, the more
// participants a client can show while it records.
//
// Feeds the 720p30 streams of many participants into one recorder in real time and times each
// OnEncodedFrame(). Beside each call, in turns before and behind it, an equal payload from another
// place is copied into newly allocated memory and nothing else: the least that handing a frame over
// can cost. At the end the record is read back: no frame of the recorded channel may be missing.
//
// usage: recorder_benchmark [SECONDS [PARTICIPANTS [FOLDER]]]   (60 seconds, 64, /tmp/)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kx_utility/file.h"
#include "kxrtc/recording/audio_mixer_recorder.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "kxrtc/recording/speaker_recorder.h"

namespace {

using Clock = std::chrono::steady_clock;
using kxrtc::EncodedImage;
using kxrtc::SpeakerRecorder;

constexpr int kHostThreads = 8;
constexpr int kFramesPerSecond = 30;
constexpr int kKeyFrameInterval = 60;
constexpr uint32_t kKeyFrameSize = 45000;  // With the delta frames about 1.5 Mbit/s.
constexpr uint32_t kDeltaFrameSize = 5600;
constexpr uint32_t kFirstSsrc = 1000;
constexpr size_t kPoolSize = size_t{16} << 20;  // Payloads come from memory that is not in a cache.

class SilentMixer final : public kxrtc::AudioFactory, public kxrtc::AudioMixerRecorder {
 public:
  bool CreateAudioMixerRecorder(kxrtc::AudioMixerRecorder** out) override {
    *out = this;
    return true;
  }
  void ReleaseAudioMixerRecorder(kxrtc::AudioMixerRecorder* /*recorder*/) override {}
  bool Start(int /*mode*/, int /*source*/, kxrtc::AudioMixerRecorderSink* sink) override {
    sink_ = sink;
    return true;
  }
  bool Stop() override { return true; }
  bool GetAudioFormat(uint32_t* channels, uint32_t* rate, uint32_t* bits) override {
    *channels = 2;
    *rate = 48000;
    *bits = 16;
    return true;
  }

 private:
  kxrtc::AudioMixerRecorderSink* sink_ = nullptr;
};

class AudioFrame final : public kxrtc::EncodedAudioFrame {
 public:
  uint32_t GetLength() override { return sizeof(bytes_); }
  const uint8_t* GetData() override { return bytes_; }

 private:
  uint8_t bytes_[341] = {};
};

struct Costs {
  std::vector<float> recorder_us;
  std::vector<float> copy_us;
  uint64_t frames_of_first = 0;
};

double Percentile(std::vector<float>* sorted, double percent) {
  if (sorted->empty()) return 0;
  const auto at = static_cast<size_t>(static_cast<double>(sorted->size()) * percent / 100);
  return (*sorted)[std::min(at, sorted->size() - 1)];
}

long ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  }
  return 0;
}

float Since(Clock::time_point start) {
  return std::chrono::duration<float, std::micro>(Clock::now() - start).count();
}

// One host thread: delivers the frames of every kHostThreads-th participant.
class Host {
 public:
  Host(SpeakerRecorder* recorder, const std::vector<uint8_t>* pool, int number, int participants)
      : recorder_(recorder), pool_(pool), number_(number), participants_(participants) {
    place_ = static_cast<size_t>(number) * 1000003;
  }

  void Run(Clock::time_point start, int frames) {
    const int own = (participants_ - number_ + kHostThreads - 1) / kHostThreads;
    for (std::vector<float>* costs : {&costs_.recorder_us, &costs_.copy_us}) {
      costs->resize(static_cast<size_t>(frames * own));  // Touched now: memory shall be flat later.
      costs->clear();
    }
    for (int i = 0; i < frames; ++i) {
      std::this_thread::sleep_until(
          start + std::chrono::microseconds(i * 1000000LL / kFramesPerSecond + number_ * 3000));
      for (int p = number_; p < participants_; p += kHostThreads) Deliver(p, i);
      copies_.clear();
    }
  }

  Costs& costs() { return costs_; }

 private:
  void Deliver(int participant, int frame) {
    // Key frames of the participants are spread, the first one's come at once.
    const bool key = (frame + participant * 7) % kKeyFrameInterval == 0;
    const uint32_t size = key ? kKeyFrameSize : kDeltaFrameSize;
    const bool copy_first = (frame + participant) % 2 == 0;
    if (copy_first) Copy(size);
    EncodedImage image;
    image.encoded_width = 1280;
    image.encoded_height = 720;
    image.frame_type = key ? kxrtc::kVideoFrameTypeKey : 4;
    image.data = NextPayload(size);
    image.length = size;
    const auto start = Clock::now();
    recorder_->OnEncodedFrame(&image, kFirstSsrc + static_cast<uint32_t>(participant));
    costs_.recorder_us.push_back(Since(start));
    if (participant == 0) ++costs_.frames_of_first;
    if (!copy_first) Copy(size);
  }

  void Copy(uint32_t size) {
    const uint8_t* payload = NextPayload(size);
    const auto start = Clock::now();
    std::unique_ptr<uint8_t[]> copy(new uint8_t[size]);
    std::memcpy(copy.get(), payload, size);
    costs_.copy_us.push_back(Since(start));
    copies_.push_back(std::move(copy));
  }

  const uint8_t* NextPayload(uint32_t size) {
    if (place_ + size > pool_->size()) place_ %= 4096;
    const uint8_t* payload = pool_->data() + place_;
    place_ += size;
    return payload;
  }

  SpeakerRecorder* recorder_;
  const std::vector<uint8_t>* pool_;
  int number_;
  int participants_;
  size_t place_ = 0;
  std::vector<std::unique_ptr<uint8_t[]>> copies_;
  Costs costs_;
};

uint64_t CountRecordedFrames(const std::string& folder) {
  std::ifstream file(kxrtc::SpeakerRecordFilePath(folder, kxrtc::kIndexFileExtension),
                     std::ios::binary);
  const std::string index((std::istreambuf_iterator<char>(file)), {});
  kx_utility::ByteBufferReader reader(index.data(), static_cast<uint32_t>(index.size()));
  uint64_t frames = 0;
  kxrtc::SpeakerRecordHeader header;
  uint32_t payload_size = 0;
  while (kxrtc::ReadRecord(&reader, &header) &&
         kxrtc::GetRecordPayloadSize(header.type, &payload_size) && reader.Consume(payload_size)) {
    if (header.type == kxrtc::kVideoData) ++frames;
  }
  return frames;
}

void Map(SpeakerRecorder* recorder, int participants) {
  std::vector<uint32_t> ssrcs;
  std::vector<uint32_t> users;
  std::vector<uint8_t> speaking;
  for (int p = 0; p < participants; ++p) {
    ssrcs.push_back(kFirstSsrc + static_cast<uint32_t>(p));
    users.push_back(static_cast<uint32_t>(p) + 1);
    speaking.push_back(p == 0);
  }
  const std::vector<kxrtc::PeerConnectionConductor::media_type> types(
      ssrcs.size(), kxrtc::PeerConnectionConductor::kCamera);
  const auto count = static_cast<uint32_t>(participants);
  recorder->UpdateVideoSsrcMapping(false, ssrcs.data(), users.data(), types.data(), count);
  recorder->UpdateVoiceActivity(users.data(), speaking.data(), count);
}

int Run(int seconds, int participants, const std::string& folder) {
  std::vector<uint8_t> pool(kPoolSize);
  for (size_t i = 0; i < pool.size(); ++i) pool[i] = static_cast<uint8_t>(i * 31 >> 3);
  SilentMixer mixer;
  SpeakerRecorder recorder;
  if (!recorder.Initialize(folder, &mixer, nullptr)) return 1;
  Map(&recorder, participants);
  recorder.StartRecording();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // The start takes effect.
  std::vector<std::unique_ptr<Host>> hosts;
  std::vector<std::thread> threads;
  const auto start = Clock::now() + std::chrono::milliseconds(50);
  for (int i = 0; i < kHostThreads; ++i) {
    hosts.push_back(std::make_unique<Host>(&recorder, &pool, i, participants));
    threads.emplace_back([&, i] { hosts[i]->Run(start, seconds * kFramesPerSecond); });
  }
  AudioFrame audio;
  for (int64_t i = 0; i * 1024 < int64_t{48000} * seconds; ++i) {
    std::this_thread::sleep_until(start + std::chrono::microseconds(i * 1024 * 1000000 / 48000));
    recorder.OnEncodedData(&audio);
    if (i % 470 == 46)
      std::printf("%3lld s: resident %ld KB\n", static_cast<long long>(i) / 47,
                  ResidentKilobytes());
  }
  for (auto& thread : threads) thread.join();
  recorder.StopRecording();
  recorder.Finalize();

  Costs all;
  for (auto& host : hosts) {
    Costs& costs = host->costs();
    all.recorder_us.insert(all.recorder_us.end(), costs.recorder_us.begin(),
                           costs.recorder_us.end());
    all.copy_us.insert(all.copy_us.end(), costs.copy_us.begin(), costs.copy_us.end());
    all.frames_of_first += costs.frames_of_first;
  }
  std::sort(all.recorder_us.begin(), all.recorder_us.end());
  std::sort(all.copy_us.begin(), all.copy_us.end());
  const uint64_t recorded = CountRecordedFrames(folder);
  std::printf("%zu frames of %d participants in %d s\n", all.recorder_us.size(), participants,
              seconds);
  std::printf("%-22s %9s %9s %9s\n", "microseconds", "p50", "p99", "p99.9");
  for (const auto& [name, costs] : {std::make_pair("OnEncodedFrame", &all.recorder_us),
                                    std::make_pair("allocate and copy", &all.copy_us)}) {
    std::printf("%-22s %9.2f %9.2f %9.2f\n", name, Percentile(costs, 50), Percentile(costs, 99),
                Percentile(costs, 99.9));
  }
  std::printf("recorded channel: %llu frames sent, %llu recorded\n",
              static_cast<unsigned long long>(all.frames_of_first),
              static_cast<unsigned long long>(recorded));
  return recorded == all.frames_of_first ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;
  const int participants = argc > 2 ? std::atoi(argv[2]) : 64;
  const std::string folder = argc > 3 ? argv[3] : "/tmp/";
  if (seconds <= 0 || participants <= 0) {
    std::fprintf(stderr, "usage: recorder_benchmark [SECONDS [PARTICIPANTS [FOLDER]]]\n");
    return 2;
  }
  return Run(seconds, participants, folder);
}
