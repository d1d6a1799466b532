#include "host/conference/voice_activity_detector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/conference/audio_format.h"

namespace kxrtc_host {
namespace {

constexpr size_t kTenMilliseconds = 480;

// Ten milliseconds at a level of `dbfs`.
std::vector<float> Block(double dbfs) {
  return std::vector<float>(kTenMilliseconds * kAudioChannels,
                            static_cast<float>(std::pow(10.0, dbfs / 20)));
}

VoiceActivityConfig Config() {
  VoiceActivityConfig config;
  config.threshold_dbfs = -40;
  config.attack_us = 30000;
  config.hang_over_us = 50000;
  return config;
}

// 'L' and 'q' are ten loud or quiet milliseconds; the result has 'S' where somebody speaks.
std::string Detect(const std::string& blocks) {
  VoiceActivityDetector detector(Config());
  std::string result;
  for (char block : blocks) {
    const std::vector<float> samples = Block(block == 'L' ? -20 : -60);
    result += detector.Update(samples.data(), kTenMilliseconds) ? 'S' : '.';
  }
  return result;
}

TEST(VoiceActivityDetectorTest, IgnoresAClick) { EXPECT_EQ(Detect("qLLqLLqq"), "........"); }

TEST(VoiceActivityDetectorTest, SpeaksAfterTheAttack) { EXPECT_EQ(Detect("qLLLL"), "...SS"); }

TEST(VoiceActivityDetectorTest, GoesOnThroughTheHangOver) {
  EXPECT_EQ(Detect("LLLqqqqqqq"), "..SSSSS...");
}

TEST(VoiceActivityDetectorTest, BridgesThePausesBetweenWords) {
  EXPECT_EQ(Detect("LLLqqqqLqqqqqq"), "..SSSSSSSSSS..");
}

TEST(VoiceActivityDetectorTest, NeedsTheAttackAgainAfterReset) {
  VoiceActivityDetector detector(Config());
  const std::vector<float> loud = Block(-20);
  for (int i = 0; i < 3; ++i) detector.Update(loud.data(), kTenMilliseconds);
  ASSERT_TRUE(detector.speaking());
  detector.Reset();
  EXPECT_FALSE(detector.speaking());
  EXPECT_FALSE(detector.Update(loud.data(), kTenMilliseconds));
}

TEST(VoiceActivityDetectorTest, TakesTheThresholdItselfAsVoice) {
  VoiceActivityConfig config = Config();
  config.attack_us = 0;
  VoiceActivityDetector detector(config);
  EXPECT_TRUE(detector.Update(Block(-39.99).data(), kTenMilliseconds));
  VoiceActivityDetector other(config);
  EXPECT_FALSE(other.Update(Block(-40.01).data(), kTenMilliseconds));
  config.threshold_dbfs = 0;
  VoiceActivityDetector exact(config);
  EXPECT_TRUE(exact.Update(Block(0).data(), kTenMilliseconds));
}

}  // namespace
}  // namespace kxrtc_host
