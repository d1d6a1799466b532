// What becomes of calls into the recorder while its queue is full and the task thread is busy with
// the host's mixer.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "kx_utility/event.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::DumpRecord;
using ::kx_testing::kDeadlineMs;
using ::kx_testing::RecordedConference;
using ::kx_testing::ScopedLogCapture;
using ::kx_utility::Event;
using ::testing::Contains;
using ::testing::IsEmpty;

using Lines = std::vector<std::string>;

constexpr int kQueueCapacity = 4096;
const VideoChannelInfo kAnn = {11, 1, 2};

// Runs `work` on a thread of its own: what happened before the call comes before it, too.
void RunElsewhere(const std::function<void()>& work) { std::thread(work).join(); }

class FullQueueTest : public ::testing::Test {
 protected:
  // Records a channel's first picture.
  void SetUp() override {
    ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
    conference_.StartAndDrain();
    conference_.MapRemote({kAnn});
    conference_.Key(11, "key");
    conference_.Drain();
    log_.Clear();
  }

  // From now on the mixer's Start() runs `call` the first time.
  void InsideTheNextStart(std::function<void()> call) {
    conference_.mixer.on_start = [this, call = std::move(call)] {
      if (!entered_.exchange(true, std::memory_order_relaxed)) call();
    };
    EXPECT_TRUE(recorder_.MuteLocalMicrophone(true));
  }

  // Delivers the next `count` audio frames, which count themselves.
  void AddAudio(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string bytes = std::to_string(audio_.size()) + ";";
      EXPECT_TRUE(conference_.Audio(bytes));
      audio_.push_back("audio " + bytes);
    }
  }

  // The record behind the first picture.
  Lines Recorded() {
    recorder_.Finalize();
    const Lines lines = DumpRecord(conference_.dir.path());
    return {lines.begin() + 4, lines.end()};
  }

  RecordedConference conference_;
  SpeakerRecorder& recorder_ = conference_.recorder;
  Lines audio_;
  ScopedLogCapture log_;

 private:
  std::atomic<bool> entered_{false};
};

struct EntryCase {
  const char* name;
  std::function<void(RecordedConference*)> call;
  std::string trace;  // What it leaves in the record or in the log.
};

class FullQueueEntryTest : public FullQueueTest, public ::testing::WithParamInterface<EntryCase> {};

TEST_P(FullQueueEntryTest, ReturnsToTheMixerThatWaitsForIt) {
  Event inside(true, false);
  Event returned(true, false);
  InsideTheNextStart([&] {
    inside.Set();
    EXPECT_TRUE(returned.Wait(kDeadlineMs));
  });
  ASSERT_TRUE(inside.Wait(kDeadlineMs));
  AddAudio(kQueueCapacity);
  RunElsewhere([this] { GetParam().call(&conference_); });
  returned.Set();
  Lines lines = Recorded();
  ASSERT_LE(audio_.size(), lines.size());
  EXPECT_EQ(audio_, Lines(lines.begin(), lines.begin() + kQueueCapacity));
  lines.erase(lines.begin(), lines.begin() + kQueueCapacity);
  for (const std::string& line : log_.lines()) lines.push_back(line);
  EXPECT_THAT(lines, Contains(GetParam().trace).Times(1));
}

INSTANTIATE_TEST_SUITE_P(
    Entries, FullQueueEntryTest,
    ::testing::Values(
        EntryCase{"Start", [](auto* conference) { conference->recorder.StartRecording(); },
                  "ERROR already running"},
        EntryCase{"Stop", [](auto* conference) { conference->recorder.StopRecording(); }, "stop"},
        EntryCase{"Mute", [](auto* conference) { conference->recorder.MuteLocalMicrophone(false); },
                  "INFO new source = 3"},
        EntryCase{"Mapping", [](auto* conference) { conference->MapRemote({}); }, "channel 0"},
        EntryCase{"Voices",
                  [](auto* conference) {
                    conference->Voices({{5, true}});
                  },
                  "channel 0"},
        EntryCase{"Video", [](auto* conference) { EXPECT_TRUE(conference->Delta(11, "last")); },
                  "video last"},
        EntryCase{"Audio", [](auto* conference) { EXPECT_TRUE(conference->Audio("last")); },
                  "audio last"}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(FullQueueTest, LosesNothingAndKeepsTheOrderOfThreadsThatTakeTurns) {
  Event inside(true, false);
  Event returned(true, false);
  InsideTheNextStart([&] {
    inside.Set();
    EXPECT_TRUE(returned.Wait(kDeadlineMs));
  });
  ASSERT_TRUE(inside.Wait(kDeadlineMs));
  AddAudio(kQueueCapacity - 10);
  for (int i = 0; i < 20; ++i) RunElsewhere([this] { AddAudio(50); });
  returned.Set();
  // While the task thread takes back what was set aside.
  for (int i = 0; i < 20; ++i) RunElsewhere([this] { AddAudio(50); });
  EXPECT_EQ(audio_, Recorded());
  EXPECT_THAT(log_.problems(), IsEmpty());
}

TEST_F(FullQueueTest, KeepsWhatTheMixerDeliversFromInsideItsStart) {
  Event delivered(true, false);
  InsideTheNextStart([&] {
    AddAudio(kQueueCapacity - 10);
    for (int i = 0; i < 20; ++i) {
      AddAudio(50);
      RunElsewhere([this] { AddAudio(50); });
    }
    delivered.Set();
  });
  ASSERT_TRUE(delivered.Wait(kDeadlineMs));
  EXPECT_EQ(audio_, Recorded());
  EXPECT_THAT(log_.problems(), IsEmpty());
}

// Two calls into the mixer in a row, the second one while tasks of the first are still set aside.
TEST_F(FullQueueTest, KeepsTheOrderOverOneMixerCallAfterAnother) {
  Event inside(true, false);
  Event returned(true, false);
  Event inside_again(true, false);
  Event returned_again(true, false);
  InsideTheNextStart([&] {
    inside.Set();
    EXPECT_TRUE(returned.Wait(kDeadlineMs));
  });
  ASSERT_TRUE(inside.Wait(kDeadlineMs));
  conference_.mixer.on_stop = [&] {
    if (inside_again.Wait(0)) return;  // The last stop comes from the control thread.
    inside_again.Set();
    EXPECT_TRUE(returned_again.Wait(kDeadlineMs));
  };
  AddAudio(10);
  const Lines before_stop = audio_;
  recorder_.StopRecording();
  AddAudio(kQueueCapacity + 500);
  returned.Set();
  ASSERT_TRUE(inside_again.Wait(kDeadlineMs));
  AddAudio(500);
  returned_again.Set();
  recorder_.StartRecording();
  Lines expected = before_stop;
  expected.insert(expected.end(), {"stop", "start"});
  EXPECT_EQ(expected, Recorded());
  EXPECT_THAT(log_.problems(), IsEmpty());
}

// Frames of a stopped mixer go on arriving: they wait for nobody.
TEST_F(FullQueueTest, StopsAMixerThatWaitsForItsCallback) {
  Event inside(true, false);
  Event released(true, false);
  Event delivered(true, false);
  InsideTheNextStart([&] {
    inside.Set();
    EXPECT_TRUE(released.Wait(kDeadlineMs));
  });
  conference_.mixer.on_stop = [&] { EXPECT_TRUE(delivered.Wait(kDeadlineMs)); };
  ASSERT_TRUE(inside.Wait(kDeadlineMs));
  recorder_.StopRecording();
  for (int i = 1; i < kQueueCapacity; ++i) conference_.Voices({});
  std::thread host([this] {
    for (int i = 0; i < 3; ++i) conference_.Voices({});
  });
  std::thread mixer([&] {
    EXPECT_TRUE(conference_.Audio("late"));
    delivered.Set();
  });
  released.Set();
  mixer.join();
  host.join();
  EXPECT_EQ(Lines{"stop"}, Recorded());
  EXPECT_THAT(log_.problems(), IsEmpty());
}

TEST_F(FullQueueTest, CountsWhatItSetsAside) {
  Event delivered(true, false);
  InsideTheNextStart([&] {
    AddAudio(kQueueCapacity + 100);
    EXPECT_EQ(uint32_t{kQueueCapacity} + 100, recorder_.QueuedTasks());
    delivered.Set();
  });
  ASSERT_TRUE(delivered.Wait(kDeadlineMs));
  recorder_.Finalize();
  EXPECT_EQ(0U, recorder_.QueuedTasks());
}

}  // namespace
}  // namespace kxrtc
