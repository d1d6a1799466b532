#include "host/mp4/icon_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/testing/record_builder.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::RecordBuilder;
using ::kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t kMs = 1000;

// Writes down what comes, times in milliseconds.
class TraceTrack final : public VideoTrack {
 public:
  explicit TraceTrack(std::vector<std::string>* calls) : calls_(calls) {}

  void SetAttributes(int32_t rotation) override {
    calls_->push_back("rotation " + std::to_string(rotation));
  }
  bool Push(int64_t time_us, const uint8_t* data, uint32_t size) override {
    calls_->push_back((FindIconFrame(data, size) != nullptr ? "icon " : "picture ") +
                      std::to_string(time_us / kMs));
    return true;
  }
  bool AdvanceTo(int64_t time_us) override {
    advanced_us = time_us;
    return true;
  }
  bool Finish(int64_t /*end_us*/) override { return true; }
  int64_t end_us() const override { return 0; }

  int64_t advanced_us = 0;

 private:
  std::vector<std::string>* calls_;
};

class IconFilterTest : public ::testing::Test {
 protected:
  void Filter(std::unique_ptr<ChannelFollower> shares = nullptr,
              ClipPictures pictures = ClipPictures::kAll) {
    auto track = std::make_unique<TraceTrack>(&calls_);
    track_ = track.get();
    filter_ = std::make_unique<IconFilter>(std::move(track), pictures, std::move(shares));
  }
  void Icon(int64_t ms, size_t pictures = 8) {
    filter_->SetAttributes(0);
    for (size_t i = 0; i < pictures; ++i) {
      const kxrtc::IconFrame& frame = kxrtc::kIconFrames[i];
      ASSERT_TRUE(filter_->Push((ms + static_cast<int64_t>(i) * 10) * kMs, frame.data, frame.size));
    }
  }
  void Picture(int64_t ms, int32_t rotation) {
    const uint8_t data[] = {0, 0, 1, 0x65, 0x88};
    filter_->SetAttributes(rotation);
    ASSERT_TRUE(filter_->Push(ms * kMs, data, sizeof(data)));
  }

  std::vector<std::string> calls_;
  TraceTrack* track_ = nullptr;
  std::unique_ptr<IconFilter> filter_;
};

TEST_F(IconFilterTest, AtAJoinTheFirstPictureIsShownFromTheStart) {
  Filter();
  Icon(21);
  ASSERT_TRUE(filter_->AdvanceTo(200 * kMs));
  EXPECT_EQ(track_->advanced_us, 21 * kMs);
  EXPECT_THAT(calls_, IsEmpty());
  Picture(200, 90);
  EXPECT_THAT(calls_, ElementsAre("rotation 90", "picture 21"));
}

TEST_F(IconFilterTest, BetweenTwoPicturesTheFirstStays) {
  Filter();
  Picture(0, 0);
  Icon(1000);
  Picture(1200, 90);
  EXPECT_THAT(calls_, ElementsAre("rotation 0", "picture 0", "rotation 90", "picture 1200"));
}

TEST_F(IconFilterTest, AnIconThatStaysIsShownFromItsTime) {
  Filter();
  Picture(0, 90);
  Icon(1000, 2);
  ASSERT_TRUE(filter_->AdvanceTo(1400 * kMs));
  EXPECT_EQ(calls_.size(), 2u);
  ASSERT_TRUE(filter_->AdvanceTo(1401 * kMs));
  Icon(1500, 1);
  Picture(1520, 90);
  EXPECT_THAT(calls_,
              ElementsAre("rotation 90", "picture 0", "rotation 0", "icon 1000", "icon 1010",
                          "rotation 0", "icon 1500", "rotation 90", "picture 1520"));
}

TEST_F(IconFilterTest, OfEachClipForCopiedVideoTheKeyPictureIsShown) {
  Filter(nullptr, ClipPictures::kFirst);
  Picture(0, 90);
  Icon(10);
  ASSERT_TRUE(filter_->AdvanceTo(1000 * kMs));
  Icon(1000);
  Icon(1570);
  Picture(1600, 90);
  EXPECT_THAT(calls_, ElementsAre("rotation 90", "picture 0", "rotation 0", "icon 41", "rotation 0",
                                  "icon 1000", "rotation 90", "picture 1600"));
}

TEST_F(IconFilterTest, AtTheEndAnIconAloneIsShown) {
  Filter();
  Icon(0, 1);
  ASSERT_TRUE(filter_->Finish(100 * kMs));
  EXPECT_THAT(calls_, ElementsAre("rotation 0", "icon 0"));
}

TEST_F(IconFilterTest, AStillShareKeepsItsPictureUntilTheChannelChanges) {
  const TempDir dir;
  RecordBuilder(dir)
      .Start(0)
      .Channel(1, kx_testing::kDesktop)
      .Key(2)
      .Audio(3)
      .Audio(4)
      .Channel(5, 0)
      .Audio(6)
      .Stop(7)
      .Write();
  Filter(std::make_unique<ChannelFollower>(dir.path()));
  Picture(0, 0);
  filter_->OnAudio();
  Icon(5100);
  ASSERT_TRUE(filter_->AdvanceTo(6000 * kMs));
  EXPECT_THAT(calls_, ElementsAre("rotation 0", "picture 0"));
  filter_->OnAudio();
  Icon(6000, 1);
  ASSERT_TRUE(filter_->AdvanceTo(7000 * kMs));
  EXPECT_THAT(calls_, ElementsAre("rotation 0", "picture 0", "rotation 0", "icon 6000"));
}

TEST_F(IconFilterTest, AShareWithoutAPictureYetShowsTheIcon) {
  const TempDir dir;
  RecordBuilder(dir)
      .Start(0)
      .Channel(1, kx_testing::kCamera)
      .Key(2)
      .Audio(3)
      .Channel(4, kx_testing::kDesktop)
      .Audio(5)
      .Stop(7)
      .Write();
  Filter(std::make_unique<ChannelFollower>(dir.path()));
  Picture(0, 0);
  filter_->OnAudio();
  Icon(600, 1);
  ASSERT_TRUE(filter_->AdvanceTo(1001 * kMs));
  EXPECT_THAT(calls_, ElementsAre("rotation 0", "picture 0", "rotation 0", "icon 600"));
}

}  // namespace
}  // namespace kxrtc_host
