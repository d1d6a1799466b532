// Everything at once: the thread sanitizer is the judge, beside the record that comes out.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "kx_utility/fileutils.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::DumpRecord;
using ::kx_testing::kDeadlineMs;
using ::kx_testing::RecordedConference;

using Lines = std::vector<std::string>;

const VideoChannelInfo kAnn = {11, 1, 2};
const VideoChannelInfo kBob = {12, 2, 2};
const VideoChannelInfo kBobsDesktop = {22, 2, 3};

bool StartsWith(const std::string& line, const std::string& prefix) {
  return line.rfind(prefix, 0) == 0;
}

// Sessions open and close in turn, and each channel begins with its attributes and a key frame.
void CheckStructure(const Lines& lines) {
  bool in_session = false;
  std::string before;
  bool need_key = false;
  for (const std::string& line : lines) {
    if (line == "start") {
      EXPECT_FALSE(in_session);
      in_session = true;
    } else {
      EXPECT_TRUE(in_session) << line;
    }
    if (line == "stop") in_session = false;
    if (StartsWith(line, "channel ")) need_key = line != "channel 0";
    if (StartsWith(line, "attributes ") && need_key) {
      EXPECT_TRUE(StartsWith(before, "channel "));
    }
    if (StartsWith(line, "video ") && need_key) {
      EXPECT_TRUE(StartsWith(before, "attributes "));
      EXPECT_TRUE(StartsWith(line, "video key ")) << line;
      need_key = false;
    }
    EXPECT_EQ(std::string::npos, line.find("outside"));
    EXPECT_EQ(std::string::npos, line.find("rest of"));
    before = line;
  }
}

// Runs `work` again and again, at a pace that leaves the task thread its share of the processor, on
// a thread of its own until the object is destroyed.
class Repeater {
 public:
  template <typename Work>
  explicit Repeater(Work work)
      : thread_([this, work]() mutable {
          while (!done_.load(std::memory_order_relaxed)) {
            work();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
          }
        }) {}
  ~Repeater() {
    done_.store(true, std::memory_order_relaxed);
    thread_.join();
  }

 private:
  std::atomic<bool> done_{false};
  std::thread thread_;
};

TEST(RecorderThreadTest, BearsEveryEntryAtAnyTime) {
  RecordedConference conference;
  SpeakerRecorder& recorder = conference.recorder;
  std::atomic<int> mixer_starts{0};
  conference.mixer.on_start = [&] { mixer_starts.fetch_add(1, std::memory_order_relaxed); };
  {
    const Repeater ann([&] {
      conference.Key(11, "key ann");
      for (int i = 0; i < 5; ++i) conference.Delta(11, "delta ann");
    });
    const Repeater bob([&] {
      conference.Key(12, "key bob");
      conference.Delta(12, "delta bob", 90);
      conference.Key(22, "key desktop");
    });
    const Repeater audio([&] { conference.Audio("audio"); });
    const Repeater mapping([&] {
      const uint32_t ssrcs[] = {kAnn.ssrc, kBob.ssrc, kBobsDesktop.ssrc};
      const uint32_t users[] = {kAnn.user_id, kBob.user_id, kBobsDesktop.user_id};
      const PeerConnectionConductor::media_type types[] = {PeerConnectionConductor::kCamera,
                                                           PeerConnectionConductor::kCamera,
                                                           PeerConnectionConductor::kDesktop};
      recorder.UpdateVideoSsrcMapping(false, ssrcs, users, types, 3);
      recorder.UpdateVideoSsrcMapping(false, ssrcs, users, types, 2);
    });
    const Repeater voice([&] {
      const uint32_t users[] = {1, 2, 5};
      const uint8_t ann_speaks[] = {1, 0, 0};
      const uint8_t eve_speaks[] = {0, 0, 1};
      recorder.UpdateVoiceActivity(users, ann_speaks, 3);
      recorder.UpdateVoiceActivity(users, eve_speaks, 3);
      recorder.MuteLocalMicrophone(true);
      recorder.MuteLocalMicrophone(false);
    });
    const Repeater control([&, is_start = true]() mutable {
      is_start ? recorder.StartRecording() : recorder.StopRecording();
      is_start = !is_start;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));  // Something shall be recorded.
    });
    for (int i = 0; i < 4; ++i) {
      ASSERT_TRUE(recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr));
      const int before = mixer_starts.load(std::memory_order_relaxed);
      const auto deadline =
          std::chrono::steady_clock::now() + std::chrono::milliseconds(kDeadlineMs);
      while ((mixer_starts.load(std::memory_order_relaxed) < before + 50 ||
              kx_utility::GetFileSize(conference.dir.File("SpeakeRecord.264")) == 0) &&
             std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
      }
      recorder.Finalize();
      const Lines lines = DumpRecord(conference.dir.path());
      CheckStructure(lines);
      EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                              [](const std::string& line) { return StartsWith(line, "video "); }));
      EXPECT_FALSE(recorder.StartRecording() && recorder.StopRecording());
    }
  }
}

}  // namespace
}  // namespace kxrtc
