// The bytes of the samples of a copied file.
#include <gmock/gmock.h>

#include "tests/testing/mp4_writer_fixture.h"

namespace kxrtc_host {
namespace {

using kx_testing::kFrameUs;
using kx_testing::Mp4File;
using kx_testing::SilentAudio;
using kx_testing::TinyVideo;

struct SamplesCase {
  const char* name;
  SampleBounds bounds;
};

class CopiedSamplesTest : public kx_testing::CopyTest,
                          public testing::WithParamInterface<SamplesCase> {
 protected:
  // A NAL unit of the type of the first byte of `unit`.
  void Unit(const char* start_code, size_t start_code_size, const std::string& unit) {
    access_unit_.append(start_code, start_code_size);
    access_unit_ += unit;
    for (int shift = 24; shift >= 0; shift -= 8) sample_ += static_cast<char>(unit.size() >> shift);
    sample_ += unit;
  }

  std::string access_unit_;  // Annex B.
  std::string sample_;       // The same as the file has it.
};

// A picture waits for the next one, so that its duration is known.
TEST_P(CopiedSamplesTest, FollowEachOtherWithALengthInFrontOfEachNalUnit) {
  options_.bounds = GetParam().bounds;
  ASSERT_TRUE(Start());
  Attributes();
  const std::string key = TinyVideo(64, 32, 1)[0];
  ASSERT_TRUE(Video(1, key));
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  std::string expected;
  std::string waiting;
  int64_t time_us = kFrameUs;
  // Around the sizes of the pieces that are written at once, with start codes of both sizes.
  for (size_t size : {1, 10000, 262143, 262144, 30000, 30000, 524288, 600000, 3, 1500000, 40000}) {
    access_unit_.clear();
    sample_.clear();
    Unit("\0\0\0\1", 4, "\x09\xF0");
    Unit("\0\0\1", 3, "\x41" + std::string(size, 'x'));
    if (size % 2 == 0) Unit("\0\0\0\1", 4, "\x41" + std::string(7, 'y'));
    ASSERT_TRUE(Video(time_us += kFrameUs, access_unit_));
    expected += waiting;
    waiting = sample_;
    const std::string sound(50 + size % 7, 'a');
    ASSERT_TRUE(Audio(time_us, sound));
    expected += sound;
  }
  expected += waiting;
  const Mp4File file = Finished();
  EXPECT_EQ(file.boxes[1], "moov");
  EXPECT_EQ(file.Track("vide").sizes.size(), 12u);
  const std::string bytes = kx_testing::ReadFile(path_);
  ASSERT_GT(bytes.size(), expected.size());
  EXPECT_TRUE(bytes.substr(bytes.size() - expected.size()) == expected);
}

constexpr SamplesCase kCases[] = {
    {"MovedBehindTheIndex", {}},
    {"BehindASpaceForTheIndex", {100, 100, 10000000}},
    {"BehindASpaceThatIsTooSmall", {1, 1, 10000000}},
};
INSTANTIATE_TEST_SUITE_P(Bounds, CopiedSamplesTest, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace kxrtc_host
