// The filler clip as decoders that nobody here wrote see it.
#include <gmock/gmock.h>

#include <sstream>

#include "kxrtc/recording/icon_frames.h"
#include "tests/testing/shell.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::Quoted;
using ::kx_testing::RunShell;
using ::kx_testing::ShellResult;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::Contains;

std::string Clip() {
  std::string clip;
  for (const IconFrame& frame : kIconFrames) {
    clip.append(reinterpret_cast<const char*>(frame.data), frame.size);
  }
  return clip;
}

// Decodes an elementary stream; expects silence and `frames` pictures.
void ExpectDecodes(const TempDir& dir, const std::string& stream, int frames) {
  WriteFile(dir.File("in.264"), stream);
  const ShellResult result = RunShell("ffmpeg -v warning -i " + Quoted(dir.File("in.264")) +
                                      " -fps_mode passthrough -f framemd5 -");
  EXPECT_EQ(0, result.exit_status);
  EXPECT_EQ("", result.errors);
  std::istringstream lines(result.output);
  int decoded = 0;
  for (std::string line; std::getline(lines, line);) decoded += line.rfind("0,", 0) == 0;
  EXPECT_EQ(frames, decoded);
}

// Ten pictures of another sender.
std::string Camera(const TempDir& dir, const std::string& size, const std::string& profile) {
  const std::string path = dir.File(profile + ".264");
  const ShellResult result =
      RunShell("ffmpeg -v error -f lavfi -i testsrc2=size=" + size +
               ":rate=24 -frames:v 10 -pix_fmt yuv420p -c:v libx264 -profile:v " + profile +
               " -bf 0 " + Quoted(path));
  EXPECT_EQ(0, result.exit_status) << result.errors;
  return kx_testing::ReadFile(path);
}

TEST(IconClipTest, DecodesWithoutAMessage) {
  TempDir dir;
  ExpectDecodes(dir, Clip(), 8);
}

TEST(IconClipTest, DecodesTwiceInARow) {
  TempDir dir;
  ExpectDecodes(dir, Clip() + Clip(), 16);
}

TEST(IconClipTest, DecodesBetweenTwoOtherStreams) {
  TempDir dir;
  ExpectDecodes(dir, Camera(dir, "640x360", "high") + Clip() + Camera(dir, "1280x720", "baseline"),
                28);
}

TEST(IconClipTest, DeclaresThePictureThatTheReplayAnnounces) {
  TempDir dir;
  WriteFile(dir.File("in.264"), Clip());
  const ShellResult result = RunShell("ffmpeg -v trace -i " + Quoted(dir.File("in.264")) +
                                      " -c copy -bsf:v trace_headers -f null - 2>&1");
  ASSERT_EQ(0, result.exit_status);
  // "[trace_headers @ 0x...] 40   log2_max_frame_num_minus4   00101 = 4" -> "name = value".
  std::vector<std::string> elements;
  std::istringstream lines(result.output);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("[trace_headers", 0) != 0) continue;
    std::istringstream words(line.substr(line.find(']') + 1));
    std::string position, name, bits, equals, value;
    if (words >> position >> name >> bits >> equals >> value && equals == "=") {
      elements.push_back(name + " = " + value);
    }
  }
  for (const char* element :
       {"profile_idc = 100", "level_idc = 30", "chroma_format_idc = 1",
        "log2_max_frame_num_minus4 = 4", "pic_order_cnt_type = 2", "max_num_ref_frames = 2",
        "pic_width_in_mbs_minus1 = 39", "pic_height_in_map_units_minus1 = 22",
        "frame_crop_bottom_offset = 4", "frame_num = 7"}) {
    EXPECT_THAT(elements, Contains(element));
  }
}

}  // namespace
}  // namespace kxrtc
