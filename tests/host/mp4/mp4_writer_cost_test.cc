// What a copied frame costs, in counts that do not depend on the machine.
#include "files/gathered_output.h"
#include "tests/testing/copied_bytes.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/mp4_writer_fixture.h"
#include "tests/testing/process_resources.h"

namespace kxrtc_host {
namespace {

using kx_testing::CountAllocations;
using kx_testing::CountCopiedBytes;
using kx_testing::CountWriteCalls;
using kx_testing::kFrameUs;
using kx_testing::SilentAudio;
using kx_testing::TinyVideo;

constexpr size_t kFrames = 300;
constexpr size_t kFrameBytes = 20000;

class Mp4WriterCostTest : public kx_testing::CopyTest {
 protected:
  // Both tracks have begun, and the buffers have their size.
  void SetUp() override {
    delta_.append(kFrameBytes - delta_.size(), 'x');
    ASSERT_TRUE(Start());
    Attributes();
    ASSERT_TRUE(Video(0, pictures_[0]));
    Push(kFrames);
  }

  void Push(size_t frames) {
    for (size_t i = 0; i < frames; ++i) {
      pushed_ = Audio(++count_ * kFrameUs, sound_) && Video(count_ * kFrameUs, delta_) && pushed_;
    }
  }

  void TearDown() override {
    EXPECT_TRUE(pushed_);
    EXPECT_EQ(Finished().Track("vide").sizes.size(), static_cast<size_t>(count_) + 1);
  }

  const std::vector<std::string> pictures_ = TinyVideo(64, 32, 2);
  const std::string sound_ = SilentAudio();
  std::string delta_ = pictures_[1];
  int64_t count_ = 0;
  bool pushed_ = true;
};

TEST_F(Mp4WriterCostTest, AFrameIsCopiedOnce) {
  const size_t copied = CountCopiedBytes([this] { Push(kFrames); });
  EXPECT_GE(copied, kFrames * kFrameBytes);
  EXPECT_LE(copied, kFrames * kFrameBytes * 11 / 10);
}

TEST_F(Mp4WriterCostTest, ACallOfTheSystemWritesManyFrames) {
  const size_t calls = CountWriteCalls([this] { Push(kFrames); });
  EXPECT_LE(calls, kFrames * kFrameBytes / GatheredOutput::kBlockBytes + 4);
}

TEST_F(Mp4WriterCostTest, AFrameNeedsFewAllocations) {
  EXPECT_LE(CountAllocations([this] { Push(kFrames); }), static_cast<int>(kFrames) * 3 / 2);
}

}  // namespace
}  // namespace kxrtc_host
