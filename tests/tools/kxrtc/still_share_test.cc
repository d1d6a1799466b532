// What the MP4 shows while a desktop share stands still, looked at picture by picture.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::ConferenceRecord;
using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;

// What is shown at these seconds, told by the middle of the decoded picture.
constexpr int kIconSecond = 1;     // Nobody shows a picture yet.
constexpr int kPictureSecond = 5;  // The last picture came a second ago.
constexpr int kShortStillSecond = 8;
constexpr int kLongStillSecond = 12;  // More than 5 s after the last picture.

struct StillCase {
  const char* name;
  uint32_t media_type;
  const char* options;
  bool shows_icon;
};

class StillShareTest : public ::testing::TestWithParam<StillCase> {
 protected:
  // Two seconds of sound, two of an orange picture, and ten in which none follows.
  void WriteRecord() {
    ConferenceRecord record(dir_, kx_testing::MakeAudio(700, 2, true));
    record.Start()
        .AudioOnly(2000)
        .Speaks(GetParam().media_type, {"still", 320, 240, "main", 48, 24, 1, false, "orange"})
        .Gap(10000)
        .Stop();
    record.builder().Write();
  }

  // The mean luma and colour differences of the picture that is shown at `second`: the last one
  // that begins before it.
  std::vector<int> ShownAt(int second) {
    const ShellResult decode = RunShell("ffmpeg -v error -nostdin -i " + Quoted(mp4_) +
                                        " -vf 'select=lte(t\\," + std::to_string(second) +
                                        "),scale=1:1:flags=area,format=yuv444p' -fps_mode "
                                        "passthrough -enc_time_base -1 -f rawvideo -");
    EXPECT_EQ(decode.errors, "");
    EXPECT_GE(decode.output.size(), 3u);
    const std::string last = decode.output.substr(decode.output.size() - 3);
    return {last.begin(), last.end()};
  }

  TempDir dir_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
};

TEST_P(StillShareTest, ShowsThePictureOrTheIcon) {
  WriteRecord();
  const ShellResult run = RunKxrtc("transcode " + Quoted(dir_.path()) + " " + Quoted(mp4_) +
                                   " --no-sync --quiet " + GetParam().options);
  ASSERT_EQ(run.exit_status, 0) << run.errors;
  const std::vector<int> icon = ShownAt(kIconSecond);
  const std::vector<int> picture = ShownAt(kPictureSecond);
  const auto is_alike = [](const std::vector<int>& a, const std::vector<int>& b) {
    return ::testing::Value(
        a, ::testing::Pointwise(::testing::Truly([](const auto& pair) {
                                  return std::abs(std::get<0>(pair) - std::get<1>(pair)) <= 3;
                                }),
                                b));
  };
  ASSERT_FALSE(is_alike(icon, picture));
  EXPECT_TRUE(is_alike(ShownAt(kShortStillSecond), picture));
  const std::vector<int> still = ShownAt(kLongStillSecond);
  EXPECT_EQ(is_alike(still, icon), GetParam().shows_icon);
  EXPECT_EQ(is_alike(still, picture), !GetParam().shows_icon);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, StillShareTest,
    ::testing::Values(StillCase{"Default", kDesktop, "--preset ultrafast", false},
                      StillCase{"Picture", kDesktop, "--preset ultrafast --still-share picture",
                                false},
                      StillCase{"Icon", kDesktop, "--preset ultrafast --still-share icon", true},
                      StillCase{"Copy", kDesktop, "--video copy", true},
                      StillCase{"CameraInPictureMode", kCamera,
                                "--preset ultrafast --still-share picture", true}),
    [](const auto& test) { return test.param.name; });

}  // namespace
