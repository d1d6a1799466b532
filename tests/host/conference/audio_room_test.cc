#include "host/conference/audio_room.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kxrtc_host {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FloatNear;

constexpr uint32_t kLocalUser = 1;
constexpr uint32_t kRemoteUser = 2;

std::vector<float> Level(float value) { return std::vector<float>(kAudioBlockFloats, value); }

class AudioRoomTest : public ::testing::Test {
 protected:
  AudioRoomTest()
      : local_(room_.AddMicrophone(kLocalUser, true)),
        remote_(room_.AddMicrophone(kRemoteUser, false)) {}

  std::vector<float> Mix(bool with_local) {
    std::vector<float> block(kAudioBlockFloats);
    room_.Mix(next_, with_local, block.data());
    return block;
  }

  // The open microphones as "user" or "user speaks".
  std::vector<std::string> Voices() const {
    std::vector<std::string> voices;
    for (const Voice& voice : room_.Voices()) {
      voices.push_back(std::to_string(voice.user_id) + (voice.speaking ? " speaks" : ""));
    }
    return voices;
  }

  AudioRoom room_;
  SoundTrack* local_;
  SoundTrack* remote_;
  int64_t next_ = 0;
};

TEST_F(AudioRoomTest, MixesTheOpenMicrophones) {
  local_->Write(0, Level(0.25f).data(), kAudioBlockSamples);
  remote_->Write(0, Level(0.5f).data(), kAudioBlockSamples);
  EXPECT_THAT(Mix(true), Each(0.0f));
  room_.SetOpen(kRemoteUser, true);
  EXPECT_THAT(Mix(true), Each(0.5f));
  room_.SetOpen(kLocalUser, true);
  EXPECT_THAT(Mix(true), Each(0.75f));
  EXPECT_THAT(Mix(false), Each(0.5f));
}

TEST_F(AudioRoomTest, KeepsSeveralLoudVoicesWithinFullScale) {
  room_.SetOpen(kLocalUser, true);
  room_.SetOpen(kRemoteUser, true);
  std::vector<float> block;
  for (int i = 0; i < 3; ++i) {
    local_->Write(next_, Level(0.9f).data(), kAudioBlockSamples);
    remote_->Write(next_, Level(0.9f).data(), kAudioBlockSamples);
    block = Mix(true);
    for (float sample : block) ASSERT_LE(sample, 1.0f);
    next_ += kAudioBlockSamples;
  }
  EXPECT_THAT(block, Each(FloatNear(0.98f, 0.001f)));
}

TEST_F(AudioRoomTest, TurnsTheLevelUpAgainSlowly) {
  room_.SetOpen(kLocalUser, true);
  local_->Write(0, Level(1.96f).data(), kAudioBlockSamples);
  Mix(true);
  next_ += kAudioBlockSamples;
  local_->Write(next_, Level(0.5f).data(), kAudioBlockSamples);
  const std::vector<float> block = Mix(true);
  EXPECT_NEAR(block.front(), 0.25f, 0.001f);
  EXPECT_NEAR(block.back(), 0.26f, 0.001f);
}

TEST_F(AudioRoomTest, ListsOpenMicrophonesAndWhoSpeaks) {
  EXPECT_THAT(Voices(), ElementsAre());
  room_.SetOpen(kLocalUser, true);
  room_.SetOpen(kRemoteUser, true);
  EXPECT_THAT(Voices(), ElementsAre("1", "2"));
  for (int i = 0; i < 5; ++i) {
    remote_->Write(next_, Level(0.3f).data(), kAudioBlockSamples);
    Mix(false);
    next_ += kAudioBlockSamples;
  }
  EXPECT_THAT(Voices(), ElementsAre("1", "2 speaks"));
}

TEST_F(AudioRoomTest, TakesTheMutedOffTheListAndForgetsThatTheySpoke) {
  room_.SetOpen(kRemoteUser, true);
  for (int i = 0; i < 5; ++i) {
    remote_->Write(next_, Level(0.3f).data(), kAudioBlockSamples);
    Mix(false);
    next_ += kAudioBlockSamples;
  }
  room_.SetOpen(kRemoteUser, false);
  EXPECT_THAT(Voices(), ElementsAre());
  room_.SetOpen(kRemoteUser, true);
  EXPECT_THAT(Voices(), ElementsAre("2"));
}

TEST_F(AudioRoomTest, HearsALocalSpeakerWhoIsLeftOutOfTheMix) {
  room_.SetOpen(kLocalUser, true);
  for (int i = 0; i < 5; ++i) {
    local_->Write(next_, Level(0.3f).data(), kAudioBlockSamples);
    EXPECT_THAT(Mix(false), Each(0.0f));
    next_ += kAudioBlockSamples;
  }
  EXPECT_THAT(Voices(), ElementsAre("1 speaks"));
}

TEST_F(AudioRoomTest, KnowsNothingOfUsersWithoutAMicrophone) {
  room_.SetOpen(99, true);
  EXPECT_THAT(Voices(), ElementsAre());
}

}  // namespace
}  // namespace kxrtc_host
