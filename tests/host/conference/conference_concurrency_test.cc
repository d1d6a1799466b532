// What the headers of the conference promise to threads that call at once. Each promise is kept
// when every thread gets the result that one alone gets, and the thread sanitizer is silent.
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/conference/audio_room.h"
#include "host/conference/conference.h"
#include "host/conference/conference_clock.h"
#include "host/conference/media_feed.h"
#include "host/conference/media_source.h"
#include "host/conference/mixer_recorder.h"
#include "host/conference/notices.h"
#include "host/conference/paced_queue.h"
#include "host/conference/recording_watch.h"
#include "host/conference/sound_track.h"
#include "host/conference/stop_signal.h"
#include "host/scenario/scenario_reader.h"
#include "kx_utility/event.h"
#include "tests/testing/run_on_threads.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/tiny_media.h"

namespace kxrtc_host {
namespace {

using kx_testing::RunOnThreads;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kThreads = 4;
constexpr int kTurns = 200;
constexpr int kDeadlineMs = 20000;
constexpr auto kBlockSamples = static_cast<int64_t>(kAudioBlockSamples);

// Runs `beside` on a thread of its own, again and again, while `body` runs.
void RunBeside(const std::function<void()>& beside, const std::function<void()>& body) {
  std::atomic<bool> done{false};
  std::atomic<bool> begun{false};
  std::thread other([&] {
    while (!done.load()) {
      beside();
      begun = true;
    }
  });
  while (!begun.load()) std::this_thread::yield();
  body();
  done = true;
  other.join();
}

// How many samples of the block hold the value of their index; -1 when one holds anything else but
// silence.
int CountRamp(const std::vector<float>& block, int64_t first) {
  int count = 0;
  for (size_t i = 0; i < block.size(); ++i) {
    if (block[i] == 0) continue;
    if (block[i] != static_cast<float>(first + static_cast<int64_t>(i / kAudioChannels))) return -1;
    ++count;
  }
  return count / kAudioChannels;
}

TEST(ConferenceConcurrencyTest, ASoundTrackIsReadBesideItsWriter) {
  // More blocks than it holds: old sound is overwritten beside the reader.
  constexpr int64_t kBlocks = SoundTrack::kCapacitySamples / kBlockSamples + kTurns;
  SoundTrack track;
  std::atomic<int64_t> written{1};  // The first sample would pass for silence.
  int64_t turn = 0;
  RunBeside(
      [&] {
        const int64_t first = written.load() - kBlockSamples / 2 - (turn++ % 3) * 100 * 1024;
        std::vector<float> block(kAudioBlockFloats, -1);
        const size_t there = track.Read(first, block.data(), kAudioBlockSamples);
        EXPECT_EQ(CountRamp(block, first), static_cast<int>(there)) << first;
      },
      [&] {
        for (int64_t i = 0; i < kBlocks; ++i) {
          std::vector<float> block(kAudioBlockFloats);
          const int64_t first = written.load();
          for (size_t k = 0; k < block.size(); ++k) {
            block[k] = static_cast<float>(first + static_cast<int64_t>(k / kAudioChannels));
          }
          track.Write(first, block.data(), kAudioBlockSamples);
          written = first + kBlockSamples;
        }
      });
  std::vector<float> block(kAudioBlockFloats);
  EXPECT_EQ(track.Read(written - kBlockSamples, block.data(), kAudioBlockSamples),
            kAudioBlockSamples);
  EXPECT_EQ(CountRamp(block, written - kBlockSamples), kBlockSamples);
}

// The microphones are as loud as the powers of two: what is mixed tells whose sound it is made of.
TEST(ConferenceConcurrencyTest, MicrophonesComeAndGoWhileTheRoomIsMixed) {
  constexpr float kStep = 1.0f / 32;
  AudioRoom room;
  std::atomic<uint32_t> last_user{0};
  std::atomic<int64_t> mixed{0};
  const auto mix = [&](int64_t first) {
    std::vector<float> block(kAudioBlockFloats, -1);
    room.Mix(first, true, block.data());
    const float level = block[0] / kStep;
    EXPECT_EQ(level, std::floor(level));
    for (const float sample : block) EXPECT_EQ(sample, block[0]);
    return static_cast<int>(level);
  };
  RunBeside(
      [&] {
        const int level = mix(mixed++ % kTurns * kBlockSamples);
        EXPECT_GE(level, 0);
        EXPECT_LE(level, 15);
        uint32_t before = 0;
        for (const Voice& voice : room.Voices()) {
          EXPECT_GT(voice.user_id, before);
          EXPECT_LE(voice.user_id, 4u);
          before = voice.user_id;
        }
      },
      [&] {
        RunOnThreads(kThreads, [&] {
          const uint32_t user = ++last_user;
          SoundTrack* const track = room.AddMicrophone(user, user == 1);
          const std::vector<float> block(kAudioBlockFloats,
                                         kStep * static_cast<float>(1u << (user - 1)));
          for (int64_t i = 0; i < kTurns; ++i) {
            track->Write(i * kBlockSamples, block.data(), kAudioBlockSamples);
            room.SetOpen(user, i % 2 == 1);
          }
        });
      });
  EXPECT_THAT(room.Voices(), SizeIs(kThreads));
  for (int64_t i = 0; i < kTurns; ++i) EXPECT_EQ(mix(i * kBlockSamples), 15) << i;
}

// Takes frames and lets a test wait for some of them.
class WaitingSink : public kxrtc::AudioMixerRecorderSink {
 public:
  bool OnEncodedData(kxrtc::EncodedAudioFrame* frame) override {
    EXPECT_GT(frame->GetLength(), 0u);
    if (++count_ % 2 == 0) two_came.Set();
    return true;
  }

  kx_utility::Event two_came{false, false};

 private:
  int count_ = 0;  // Of the mixing thread.
};

TEST(ConferenceConcurrencyTest, TheMixerIsAskedWhileItIsStartedAndStopped) {
  const ConferenceClock clock;
  AudioRoom room;
  WaitingSink sink;
  MixerRecorder mixer(&room, &clock, nullptr);
  std::atomic<int> running{0};
  uint64_t before = 0;
  RunBeside(
      [&] {
        if (mixer.IsRunning()) ++running;
        const uint64_t delivered = mixer.frames_delivered();
        EXPECT_GE(delivered, before);
        before = delivered;
        std::this_thread::yield();
      },
      [&] {
        for (int i = 0; i < 3; ++i) {
          ASSERT_TRUE(mixer.Start(kxrtc::kAudioMixerMode, kxrtc::kAudioMixerSourceAll, &sink));
          EXPECT_TRUE(sink.two_came.Wait(kDeadlineMs));
          EXPECT_TRUE(mixer.Stop());
          EXPECT_FALSE(mixer.IsRunning());
        }
      });
  EXPECT_GT(running, 0);
  EXPECT_GE(mixer.frames_delivered(), 6u);
}

TEST(ConferenceConcurrencyTest, TheRecordingWatchLosesNothingOfARecorderThatTells) {
  RecordingWatch watch;
  uint32_t selections = 0;
  uint32_t failures = 0;
  const auto take = [&] {
    for (const RecorderSelection& selection : watch.TakeSelections()) {
      EXPECT_EQ(selection.ssrc, selections++);
      EXPECT_EQ(selection.user_id, selection.ssrc + 1);
      EXPECT_EQ(selection.media_type, 3u);
      EXPECT_EQ(selection.reason, "shares the desktop");
    }
    failures += static_cast<uint32_t>(watch.TakeFailures().size());
    EXPECT_LE(watch.counts().switches, kTurns);
  };
  RunBeside(take, [&] {
    std::thread([&] {
      for (uint32_t i = 0; i < kTurns; ++i) {
        watch.OnChannelSelected({i, i, i + 1, 3, kxrtc::SelectionReason::kDesktopShared});
        watch.OnWriteFailed({12, kxrtc::RecordFile::kIndex, false});
      }
    }).join();
  });
  take();
  EXPECT_EQ(selections, kTurns);
  EXPECT_EQ(failures, kTurns);
}

TEST(ConferenceConcurrencyTest, NoNoticeIsLostOrToldTwice) {
  static_assert(kThreads * kTurns <= Notices::kMaxWaiting, "none is dropped");
  Notices notices;
  std::atomic<int> last{0};
  std::vector<std::string> taken;
  const auto take = [&] {
    for (std::string& text : notices.Take()) taken.push_back(std::move(text));
  };
  RunBeside(take, [&] {
    RunOnThreads(kThreads, [&] {
      for (int i = 0; i < kTurns; ++i) notices.Add(std::to_string(last++));
    });
  });
  take();
  std::vector<std::string> all;
  for (int i = 0; i < kThreads * kTurns; ++i) all.push_back(std::to_string(i));
  EXPECT_THAT(taken, ::testing::UnorderedElementsAreArray(all));
}

TEST(ConferenceConcurrencyTest, ThePacedQueueKeepsItsOrderUntilItIsClosed) {
  const ConferenceClock clock;
  PacedQueue queue(&clock);
  kx_utility::Event many_came(true, false);
  std::atomic<bool> closed{false};
  int popped = 0;
  std::thread pusher([&] {
    for (uint32_t i = 0; !closed.load();) {
      VideoFrame frame;
      frame.width = i;
      frame.data.resize(1 + i % 100);
      if (queue.Push(&frame)) {
        ++i;
      } else {
        EXPECT_EQ(frame.data.size(), 1 + i % 100);
        std::this_thread::yield();
      }
    }
  });
  std::thread popper([&] {
    VideoFrame frame;
    while (queue.PopWhenDue(&frame)) {
      EXPECT_EQ(frame.width, static_cast<uint32_t>(popped));
      EXPECT_EQ(frame.data.size(), static_cast<size_t>(1 + popped % 100));
      if (++popped == 5 * kTurns) many_came.Set();
    }
  });
  EXPECT_TRUE(many_came.Wait(kDeadlineMs));
  (void)queue.IsEmpty();  // Either is right here.
  queue.Close();
  popper.join();
  closed = true;
  pusher.join();
  EXPECT_GE(popped, 5 * kTurns);
  VideoFrame frame;
  EXPECT_FALSE(queue.PopWhenDue(&frame));
}

TEST(ConferenceConcurrencyTest, AStopSignalWakesEveryWaiter) {
  for (int i = 0; i < kTurns / 4; ++i) {
    StopSignal signal;
    std::atomic<int> arrived{0};
    RunOnThreads(kThreads + 2, [&] {
      if (arrived++ < 2) {
        signal.Raise();
      } else {
        EXPECT_TRUE(signal.WaitUntil(std::chrono::steady_clock::now() +
                                     std::chrono::milliseconds(kDeadlineMs)));
      }
      EXPECT_TRUE(signal.IsRaised());
    });
  }
}

TEST(ConferenceConcurrencyTest, TheClockOfTheConferenceIsTheSameForAll) {
  const ConferenceClock clock;
  std::atomic<int64_t> latest_us{0};
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns; ++i) {
      const int64_t seen_us = latest_us.load();
      const int64_t now_us = clock.NowUs();
      EXPECT_GE(now_us, seen_us);
      EXPECT_LE(clock.At(now_us), std::chrono::steady_clock::now());
      latest_us = now_us;
    }
  });
}

TEST(ConferenceConcurrencyTest, ScenariosAreReadAtOnce) {
  const kx_testing::TempDir dir;
  const std::string text =
      R"({"duration": 12.5, "participants": [{"user_id": 7, "name": "Ada", "camera": "a.mp4"}]})";
  kx_testing::WriteFile(dir.File("talk.json"), text);
  Scenario none;
  std::string expected;
  ASSERT_FALSE(ParseScenario("{\"participants\": 1}", "s.json", &none, &expected));
  ASSERT_FALSE(expected.empty());
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns / 4; ++i) {
      Scenario scenario;
      std::string error;
      EXPECT_TRUE(LoadScenario(dir.File("talk.json"), &scenario, &error)) << error;
      ASSERT_THAT(scenario.participants, SizeIs(1));
      EXPECT_EQ(scenario.participants[0].name, "Ada");
      EXPECT_EQ(scenario.participants[0].camera->source, dir.File("a.mp4"));
      EXPECT_EQ(scenario.duration_us, 12500000);
      EXPECT_FALSE(ParseScenario("{\"participants\": 1}", "s.json", &scenario, &error));
      EXPECT_EQ(error, expected);
    }
  });
}

// A live source that connects and then sends nothing.
class SilentServer {
 public:
  SilentServer() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(listener_, any, size), 0);
    EXPECT_EQ(listen(listener_, 4), 0);
    EXPECT_EQ(getsockname(listener_, any, &size), 0);
    media_.source = "tcp://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    media_.format = "h264";
    media_.live = true;
  }
  ~SilentServer() {
    for (const int connection : connections_) close(connection);
    close(listener_);
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  const MediaSpec& media() const { return media_; }

  // Waits until somebody is opening the source.
  void Accept() {
    pollfd wanted = {listener_, POLLIN, 0};
    ASSERT_EQ(poll(&wanted, 1, kDeadlineMs), 1);
    connections_.push_back(accept(listener_, nullptr, nullptr));
    EXPECT_GE(connections_.back(), 0);
  }

 private:
  const int listener_;
  MediaSpec media_;
  std::vector<int> connections_;
};

constexpr int64_t kLongTimeoutUs = 60000000;

TEST(ConferenceConcurrencyTest, AnyThreadInterruptsTheOpeningOfASource) {
  const ConferenceClock clock;
  SilentServer server;
  MediaSource source;
  std::string error;
  std::thread opener([&] {
    MediaNeeds needs;
    needs.video = true;
    EXPECT_EQ(source.Open(server.media(), needs, kLongTimeoutUs, &error),
              MediaProblem::kUnreadable);
  });
  server.Accept();
  RunOnThreads(kThreads, [&] { source.Interrupt(); });
  opener.join();
  EXPECT_LT(clock.NowUs(), kLongTimeoutUs / 2);
  EXPECT_THAT(error, ::testing::StartsWith(server.media().source + ": "));
}

TEST(ConferenceConcurrencyTest, AnyThreadStopsAConferenceThatWaitsForItsSources) {
  const ConferenceClock clock;
  const kx_testing::TempDir dir;
  SilentServer server;
  Scenario scenario;
  scenario.participants.resize(2);
  for (uint32_t i = 0; i < 2; ++i) {
    scenario.participants[i].user_id = i + 1;
    scenario.participants[i].camera = server.media();
    scenario.participants[i].events.resize(1);
  }
  ConferenceOptions options;
  options.folder = dir.File("record/");
  options.open_timeout_us = kLongTimeoutUs;
  ConferenceObserver observer;
  Conference conference(scenario, options, &observer);
  std::thread control([&] {
    std::string error;
    EXPECT_EQ(conference.Run(&error), ConferenceOutcome::kCancelled);
  });
  server.Accept();
  server.Accept();
  RunOnThreads(kThreads, [&] { conference.RequestStop(); });
  control.join();
  EXPECT_LT(clock.NowUs(), kLongTimeoutUs / 2);
}

// Lets a test wait for a number of pictures.
class CountingRelay : public kxrtc::VideoFrameRelayCallback {
 public:
  explicit CountingRelay(int wanted) : wanted_(wanted) {}

  bool OnEncodedFrame(const kxrtc::EncodedImage* image, uint32_t ssrc) override {
    EXPECT_EQ(ssrc, 5u);
    EXPECT_EQ(image->encoded_width, 64u);
    if (++count_ == wanted_) all_came.Set();
    return true;
  }

  kx_utility::Event all_came{true, false};

 private:
  const int wanted_;
  int count_ = 0;  // Of the sending thread.
};

TEST(ConferenceConcurrencyTest, AFeedIsSwitchedOnWhileItPlays) {
  constexpr int kPictures = 10;
  const kx_testing::TempDir dir;
  std::string stream;
  for (const std::string& unit : kx_testing::TinyVideo(64, 32, kPictures)) stream += unit;
  kx_testing::WriteFile(dir.File("a.264"), stream);
  MediaSpec media;
  media.source = dir.File("a.264");
  media.format = "h264";
  media.frame_rate = 25;
  const ConferenceClock clock;
  Notices notices;
  CountingRelay relay(kPictures);
  FeedOutlet outlet;
  outlet.video = &relay;
  outlet.ssrc = 5;
  MediaFeed feed(media, outlet, &clock, &notices);
  std::string error;
  RunBeside(
      [&] {
        feed.SetSending(true);
        EXPECT_FALSE(feed.live());
        EXPECT_FALSE(feed.has_audio());
        std::this_thread::yield();
      },
      [&] {
        ASSERT_EQ(feed.Open(kDeadlineMs * int64_t{1000}, &error), MediaProblem::kNone) << error;
        feed.Start(clock.NowUs());
        EXPECT_TRUE(relay.all_came.Wait(kDeadlineMs));
        feed.Stop();
      });
  EXPECT_THAT(notices.Take(), IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
