#include "record/predict/lead_in.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::RecordBuilder;
using kx_testing::TempDir;

constexpr int64_t kSecond = 1000000;

// Parameter sets, as far as they are read here.
std::string Sets() {
  return std::string("\0\0\0\1\x67\x42\0\x0A\x80", 9) + std::string("\0\0\0\1\x68\x80", 6);
}

struct LeadInCase {
  const char* name;
  int64_t from_us;
  std::optional<int64_t> lead_in_us;
};

class FindLeadInTest : public testing::TestWithParam<LeadInCase> {};

// Without audio, output time is that of the recorder.
TEST_P(FindLeadInTest, IsTheLastKeyFrameUpToThePart) {
  TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kx_testing::kCamera).Attributes(2, 64, 32);
  // The second key frame uses the parameter sets of the first.
  builder.Video(kSecond, Sets() + kx_testing::KeyFrame()).Delta(2 * kSecond);
  builder.Video(3 * kSecond, kx_testing::KeyFrame()).Delta(4 * kSecond).Delta(5 * kSecond);
  builder.Video(6 * kSecond, Sets() + kx_testing::KeyFrame()).Delta(7 * kSecond);
  builder.Stop(8 * kSecond).Write();
  RecordFiles files;
  files.Open(dir.path());
  const auto lead_in_us = FindLeadIn(&files, GetParam().from_us);
  ASSERT_EQ(lead_in_us.has_value(), GetParam().lead_in_us.has_value());
  // The writer stretches time a little.
  EXPECT_NEAR(static_cast<double>(lead_in_us.value_or(0)),
              static_cast<double>(GetParam().lead_in_us.value_or(0)), 200);
}

INSTANTIATE_TEST_SUITE_P(Starts, FindLeadInTest,
                         testing::Values(LeadInCase{"BeforeAll", kSecond / 2, std::nullopt},
                                         LeadInCase{"BehindAKeyFrame", 2 * kSecond, kSecond},
                                         LeadInCase{"BeforeAKeyFrame", 3 * kSecond - 1, kSecond},
                                         LeadInCase{"BehindDeltaFrames", 5 * kSecond + 5,
                                                    3 * kSecond},
                                         LeadInCase{"BehindAll", 100 * kSecond, 6 * kSecond}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(FindLeadInOfNothingTest, IsNone) {
  TempDir dir;
  RecordFiles files;
  files.Open(dir.path());
  EXPECT_EQ(FindLeadIn(&files, kSecond), std::nullopt);
}

}  // namespace
}  // namespace kxrtc_host
