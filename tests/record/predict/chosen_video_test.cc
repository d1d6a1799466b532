#include "record/predict/chosen_video.h"

#include <gmock/gmock.h>

namespace kxrtc_host {
namespace {

using ::testing::HasSubstr;

constexpr kxrtc::VideoSettings kCamera = kxrtc::VideoSettingsFor(false);
constexpr kxrtc::VideoSettings kDesktop = kxrtc::VideoSettingsFor(true);

PictureChoice OfSize(uint32_t width, uint32_t height) {
  PictureChoice choice;
  choice.width = width;
  choice.height = height;
  return choice;
}

TEST(ChosenVideoTest, WithoutAChoiceItIsWhatTheReplayAsksFor) {
  for (const kxrtc::VideoSettings& asked : {kCamera, kDesktop}) {
    const kxrtc::VideoSettings video = ChosenVideo(asked, {});
    EXPECT_EQ(video.width, asked.width);
    EXPECT_EQ(video.height, asked.height);
    EXPECT_EQ(video.frame_rate, asked.frame_rate);
    EXPECT_EQ(video.bit_rate_kbps, asked.bit_rate_kbps);
  }
}

TEST(ChosenVideoTest, TheBitRateGrowsThroughThoseOfTheReplay) {
  EXPECT_EQ(ChosenVideo(kCamera, OfSize(1280, 720)).bit_rate_kbps, kDesktop.bit_rate_kbps);
  EXPECT_EQ(ChosenVideo(kDesktop, OfSize(640, 360)).bit_rate_kbps, kCamera.bit_rate_kbps);
  EXPECT_EQ(ChosenVideo(kDesktop, OfSize(2560, 1440)).bit_rate_kbps, 3600u);
  EXPECT_EQ(ChosenVideo(kCamera, OfSize(16, 16)).bit_rate_kbps, kMinPictureBitRateKbps);
  PictureChoice choice;
  choice.frame_rate = 48;
  EXPECT_EQ(ChosenVideo(kCamera, choice).bit_rate_kbps, 693u);  // 400 times the root of 3.
}

TEST(ChosenVideoTest, AChosenBitRateStays) {
  PictureChoice choice = OfSize(3840, 2160);
  choice.bit_rate_kbps = 77;
  EXPECT_EQ(ChosenVideo(kCamera, choice).bit_rate_kbps, 77u);
}

TEST(ChosenVideoTest, RefusesWhatIsBeyondLevel52) {
  struct Case {
    kxrtc::VideoSettings video;
    const char* obstacle;
  };
  for (const Case& test :
       {Case{{640, 360, 24, 400}, ""}, Case{{1280, 720, 60, 400}, ""},
        Case{{4096, 2304, 56, 400}, ""}, Case{{2304, 4096, 24, 400}, ""},
        Case{{16, 16, 60, 400}, ""}, Case{{8688, 1072, 24, 400}, ""},
        Case{{14, 16, 24, 400}, "too small"}, Case{{641, 360, 24, 400}, "not even"},
        Case{{640, 361, 24, 400}, "not even"},
        Case{{4096, 2306, 24, 400}, "more than H.264 level 5.2"},
        Case{{8704, 16, 24, 400}, "more than H.264 level 5.2"},
        Case{{4096, 2304, 57, 400}, "choose a lower frame rate"}}) {
    const std::string obstacle = VideoObstacle(test.video);
    EXPECT_EQ(obstacle.empty(), *test.obstacle == '\0') << obstacle;
    EXPECT_THAT(obstacle, HasSubstr(test.obstacle));
  }
}

TEST(ChosenVideoTest, MakesAnySizeOneThatAnEncoderTakes) {
  struct Case {
    PictureSize size;
    PictureSize encodable;
  };
  for (const Case& test : {Case{{3840, 2160}, {3840, 2160}}, Case{{641, 359}, {642, 360}},
                           Case{{1, 1}, {16, 16}}, Case{{2160, 3840}, {2160, 3840}}}) {
    const PictureSize size = EncodableSize(test.size, 24);
    EXPECT_EQ(size.width, test.encodable.width);
    EXPECT_EQ(size.height, test.encodable.height);
  }
  for (const uint32_t width : {1u, 5120u, 7680u, 16384u, 65535u}) {
    for (const uint32_t height : {1u, 2880u, 4320u, 16384u, 65535u}) {
      const PictureSize size = EncodableSize({width, height}, 60);
      EXPECT_EQ(VideoObstacle({size.width, size.height, 60, 400}), "") << width << 'x' << height;
    }
  }
  const PictureSize smaller = EncodableSize({7680, 4320}, 24);
  EXPECT_NEAR(static_cast<double>(smaller.width) / smaller.height, 16.0 / 9, 0.01);
}

}  // namespace
}  // namespace kxrtc_host
