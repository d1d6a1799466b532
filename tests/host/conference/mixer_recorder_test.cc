#include "host/conference/mixer_recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "host/conference/conference_audio_factory.h"
#include "kx_utility/event.h"

namespace kxrtc_host {
namespace {

constexpr int kDeadlineMs = 10000;

// Counts frames and tells when a number of them has come.
class CountingSink : public kxrtc::AudioMixerRecorderSink {
 public:
  explicit CountingSink(int wanted) : wanted_(wanted) {}

  bool OnEncodedData(kxrtc::EncodedAudioFrame* frame) override {
    bytes_ += frame->GetLength();
    if (++count_ == 1) first_ = std::chrono::steady_clock::now();
    if (count_ == wanted_) {
      last_ = std::chrono::steady_clock::now();
      done_.Set();
    }
    return true;
  }

  bool Wait() { return done_.Wait(kDeadlineMs); }
  int count() const { return count_; }
  double seconds() const { return std::chrono::duration<double>(last_ - first_).count(); }

 private:
  const int wanted_;
  std::atomic<int> count_{0};
  std::atomic<uint64_t> bytes_{0};
  std::chrono::steady_clock::time_point first_;
  std::chrono::steady_clock::time_point last_;
  kx_utility::Event done_{true, false};
};

class MixerRecorderTest : public ::testing::Test {
 protected:
  bool Start(int source, kxrtc::AudioMixerRecorderSink* sink) {
    return mixer_.Start(kxrtc::kAudioMixerMode, source, sink);
  }

  ConferenceClock clock_;
  AudioRoom room_;
  MixerRecorder mixer_{&room_, &clock_, nullptr};
};

TEST_F(MixerRecorderTest, DeliversInRealTime) {
  CountingSink sink(12);
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceAll, &sink));
  EXPECT_TRUE(mixer_.IsRunning());
  ASSERT_TRUE(sink.Wait());
  // Eleven steps of 21.333 ms. A late wake-up only moves single frames: the rhythm has no drift.
  EXPECT_NEAR(sink.seconds(), 11 * 1024 / 48000.0, 0.1);
  EXPECT_TRUE(mixer_.Stop());
  EXPECT_FALSE(mixer_.IsRunning());
}

TEST_F(MixerRecorderTest, GoesOnWhenItsSourceChanges) {
  CountingSink sink(6);
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceAll, &sink));
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceRemote, &sink));
  ASSERT_TRUE(sink.Wait());
  EXPECT_TRUE(mixer_.IsRunning());
}

// Stays in the delivery of its first frame until it is let go.
class HoldingSink : public kxrtc::AudioMixerRecorderSink {
 public:
  bool OnEncodedData(kxrtc::EncodedAudioFrame*) override {
    entered.Set();
    EXPECT_TRUE(go_on.Wait(kDeadlineMs));
    left.store(true);
    return true;
  }

  kx_utility::Event entered{true, false};
  kx_utility::Event go_on{true, false};
  std::atomic<bool> left{false};
};

TEST_F(MixerRecorderTest, DeliversNothingAfterStop) {
  HoldingSink sink;
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceAll, &sink));
  ASSERT_TRUE(sink.entered.Wait(kDeadlineMs));
  std::thread helper([&sink] { sink.go_on.Set(); });
  EXPECT_TRUE(mixer_.Stop());
  EXPECT_TRUE(sink.left.load());
  helper.join();
}

TEST_F(MixerRecorderTest, StartsAgain) {
  CountingSink first(2);
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceAll, &first));
  ASSERT_TRUE(first.Wait());
  EXPECT_TRUE(mixer_.Stop());
  CountingSink second(2);
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceAll, &second));
  ASSERT_TRUE(second.Wait());
}

// Keeps the length of the longest of the first frames: silence takes hardly any bytes.
class LengthSink : public kxrtc::AudioMixerRecorderSink {
 public:
  bool OnEncodedData(kxrtc::EncodedAudioFrame* frame) override {
    if (count_ < kFrames) longest_ = std::max(longest_, frame->GetLength());
    if (++count_ == kFrames) done_.Set();
    return true;
  }

  uint32_t WaitForLongest() { return done_.Wait(kDeadlineMs) ? longest_ : 0; }

 private:
  static constexpr int kFrames = 5;
  int count_ = 0;
  uint32_t longest_ = 0;
  kx_utility::Event done_{true, false};
};

TEST_F(MixerRecorderTest, HearsTheLocalMicrophoneOnlyWithTheSourceThatTakesItIn) {
  SoundTrack* const track = room_.AddMicrophone(5, true);
  std::vector<float> tone(static_cast<size_t>(kAudioSampleRate) * 4);
  for (size_t i = 0; i < tone.size(); ++i) tone[i] = i / 50 % 2 == 0 ? 0.3f : -0.3f;
  track->Write(SampleAt(clock_.NowUs()), tone.data(), tone.size() / kAudioChannels);
  room_.SetOpen(5, true);
  LengthSink remote;
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceRemote, &remote));
  const uint32_t silence = remote.WaitForLongest();
  EXPECT_GT(silence, 0u);
  EXPECT_LT(silence, 40u);
  LengthSink all;
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceAll, &all));
  EXPECT_GT(all.WaitForLongest(), 100u);
  EXPECT_TRUE(mixer_.Stop());
}

TEST_F(MixerRecorderTest, StopsWithoutHavingStarted) { EXPECT_TRUE(mixer_.Stop()); }

TEST_F(MixerRecorderTest, TellsItsFormat) {
  uint32_t channels = 0;
  uint32_t sample_rate = 0;
  uint32_t bit_rate = 0;
  EXPECT_TRUE(mixer_.GetAudioFormat(&channels, &sample_rate, &bit_rate));
  EXPECT_EQ(channels, 2u);
  EXPECT_EQ(sample_rate, 48000u);
  EXPECT_EQ(bit_rate, 128000u);
}

TEST_F(MixerRecorderTest, RefusesWhatItDoesNotKnow) {
  CountingSink sink(1);
  EXPECT_FALSE(mixer_.Start(1, kxrtc::kAudioMixerSourceAll, &sink));
  EXPECT_FALSE(Start(1, &sink));
  EXPECT_FALSE(Start(4, &sink));
  EXPECT_FALSE(Start(kxrtc::kAudioMixerSourceAll, nullptr));
  EXPECT_FALSE(mixer_.IsRunning());
}

TEST_F(MixerRecorderTest, FollowsVoicesAlsoWhileNothingIsDelivered) {
  SoundTrack* const track = room_.AddMicrophone(5, false);
  std::vector<float> loud(static_cast<size_t>(kAudioSampleRate) * kAudioChannels, 0.3f);
  track->Write(SampleAt(clock_.NowUs()), loud.data(), kAudioSampleRate);
  room_.SetOpen(5, true);
  // Any later frame shows that blocks were mixed.
  CountingSink sink(8);
  ASSERT_TRUE(Start(kxrtc::kAudioMixerSourceAll, &sink));
  ASSERT_TRUE(sink.Wait());
  ASSERT_EQ(room_.Voices().size(), 1u);
  EXPECT_TRUE(room_.Voices()[0].speaking);
}

TEST(ConferenceAudioFactoryTest, MakesOneMixerAtATime) {
  ConferenceClock clock;
  AudioRoom room;
  ConferenceAudioFactory factory(&room, &clock, nullptr);
  kxrtc::AudioMixerRecorder* mixer = nullptr;
  EXPECT_EQ(factory.mixer(), nullptr);
  ASSERT_TRUE(factory.CreateAudioMixerRecorder(&mixer));
  EXPECT_EQ(factory.mixer(), mixer);
  kxrtc::AudioMixerRecorder* other = nullptr;
  EXPECT_FALSE(factory.CreateAudioMixerRecorder(&other));
  factory.ReleaseAudioMixerRecorder(mixer);
  EXPECT_EQ(factory.mixer(), nullptr);
  EXPECT_TRUE(factory.CreateAudioMixerRecorder(&other));
  factory.ReleaseAudioMixerRecorder(other);
}

}  // namespace
}  // namespace kxrtc_host
