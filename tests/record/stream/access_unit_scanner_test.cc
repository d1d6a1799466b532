#include "record/stream/access_unit_scanner.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;

const std::string kKey = kx_testing::KeyFrame640x360();  // 30 bytes.
// first_mb_in_slice is 0, then 2.
const std::string kDelta("\0\0\0\1\x41\x80", 6);
const std::string kSecondSlice("\0\0\0\1\x41\x60", 6);
const std::string kDelimiter("\0\0\0\1\x09\xF0", 6);

// "position+size", a star for a key frame, the size that its parameter set gives.
std::vector<std::string> Found(const ReadOnlyFile& file, uint64_t begin, uint64_t end) {
  std::vector<std::string> found;
  AccessUnitScanner scanner(&file, begin, end);
  for (AccessUnit unit; scanner.Next(&unit);) {
    std::string text = std::to_string(unit.frame.position) + "+" + std::to_string(unit.frame.size);
    if (unit.is_key) text += "*";
    if (unit.width > 0)
      text += " " + std::to_string(unit.width) + "x" + std::to_string(unit.height);
    found.push_back(text);
  }
  return found;
}

struct ScanCase {
  const char* name;
  std::string bytes;
  std::vector<std::string> found;
};

class AccessUnitScannerTest : public testing::TestWithParam<ScanCase> {};

TEST_P(AccessUnitScannerTest, FindsEachPicture) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("video"), GetParam().bytes);
  ReadOnlyFile file;
  file.Open(dir.File("video"));
  EXPECT_EQ(Found(file, 0, file.size()), GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(
    Streams, AccessUnitScannerTest,
    testing::Values(
        ScanCase{"KeyAndDeltas", kKey + kDelta + kDelta, {"0+30* 640x360", "30+6", "36+6"}},
        ScanCase{"Slices", kDelta + kSecondSlice + kDelta, {"0+12", "12+6"}},
        ScanCase{"Delimiters", kDelimiter + kDelta + kDelimiter + kKey, {"0+12", "12+36* 640x360"}},
        ScanCase{"BytesInFront", "torn" + kDelta, {"4+6"}},
        ScanCase{"NoPictureAtTheEnd", kDelta + kDelimiter, {"0+6"}},
        ScanCase{"NoStartCode", std::string(1000, 'x'), {}},
        ScanCase{"OverManyPieces",
                 kKey + std::string(700000, 'x') + kDelta,
                 {"0+700030* 640x360", "700030+6"}},
        ScanCase{"Empty", "", {}}),
    [](const auto& test) { return test.param.name; });

TEST(AccessUnitScannerPlaceTest, LooksNowhereElse) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("video"), kKey + kDelta + kDelta);
  ReadOnlyFile file;
  file.Open(dir.File("video"));
  EXPECT_THAT(Found(file, 30, 36), testing::ElementsAre("30+6"));
}

TEST(AccessUnitScannerPlaceTest, PassesOverAHugeHole) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("video"), kKey);
  std::filesystem::resize_file(dir.File("video"), uint64_t{1} << 42);
  ReadOnlyFile file;
  file.Open(dir.File("video"));
  EXPECT_EQ(Found(file, 0, file.size()).size(), 1u);
}

}  // namespace
}  // namespace kxrtc_host
