// What a frame costs the host's thread: this program counts the allocations of each thread.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "tests/testing/recorded_conference.h"

namespace {

thread_local int g_allocations = 0;

}  // namespace

void* operator new(size_t size) {
  ++g_allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void* operator new[](size_t size) { return operator new(size); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }

namespace kxrtc {
namespace {

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
    const int before = g_allocations;
    EXPECT_TRUE(conference_.recorder.OnEncodedFrame(&image_, 11));
    return g_allocations - before;
  }

  int AllocationsOfAnAudioFrame() {
    const int before = g_allocations;
    EXPECT_TRUE(conference_.recorder.OnEncodedData(&audio_));
    return g_allocations - before;
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
