// What a frame costs the host's thread.
#include <gtest/gtest.h>

#include <string>

#include "tests/testing/fault_injection.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::CountAllocations;
using ::kx_testing::FakeAudioFrame;
using ::kx_testing::RecordedConference;

class RecorderAllocationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    image_.encoded_width = 1280;
    image_.encoded_height = 720;
    image_.frame_type = kVideoFrameTypeKey;
    image_.data = reinterpret_cast<const uint8_t*>(payload_.data());
    image_.length = static_cast<uint32_t>(payload_.size());
    ASSERT_TRUE(
        conference_.recorder.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  }

  int AllocationsOfAVideoFrame() {
    return CountAllocations(
        [this] { EXPECT_TRUE(conference_.recorder.OnEncodedFrame(&image_, 11)); });
  }

  int AllocationsOfAnAudioFrame() {
    return CountAllocations([this] { EXPECT_TRUE(conference_.recorder.OnEncodedData(&audio_)); });
  }

  RecordedConference conference_;
  std::string payload_ = std::string(10000, 'v');
  EncodedImage image_;
  FakeAudioFrame audio_{std::string(400, 'a')};
};

TEST_F(RecorderAllocationTest, FramesCostThePayloadAndTheCallable) {
  conference_.StartAndDrain();
  EXPECT_EQ(2, AllocationsOfAVideoFrame());
  EXPECT_EQ(2, AllocationsOfAnAudioFrame());
}

TEST_F(RecorderAllocationTest, FramesCostNothingWhileNothingIsRecorded) {
  EXPECT_EQ(0, AllocationsOfAVideoFrame());
  EXPECT_EQ(0, AllocationsOfAnAudioFrame());
}

}  // namespace
}  // namespace kxrtc
