#include "record/repair/adts_scanner.h"

#include <gmock/gmock.h>

#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using kx_testing::WithAdts;

std::string Frame(size_t payload) { return WithAdts(std::string(payload, 'a'), 2); }

// The frames that are found in `bytes`, as "position+size".
std::vector<std::string> Found(const std::string& bytes) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("audio"), bytes);
  ReadOnlyFile file;
  file.Open(dir.File("audio"));
  AdtsScanner scanner(&file);
  std::vector<std::string> found;
  if (!scanner.FindFormat()) return {"no format"};
  for (auto frame = scanner.Find(0, file.size()); frame;
       frame = scanner.Find(frame->position + frame->size, file.size())) {
    found.push_back(std::to_string(frame->position) + "+" + std::to_string(frame->size));
  }
  return found;
}

struct ScanCase {
  const char* name;
  std::string bytes;
  std::vector<std::string> found;
};

class AdtsScannerTest : public testing::TestWithParam<ScanCase> {};

TEST_P(AdtsScannerTest, FindsEachWholeFrame) {
  EXPECT_EQ(Found(GetParam().bytes), GetParam().found);
}

const std::string kFrames = Frame(10) + Frame(20) + Frame(30);  // 17, 27 and 37 bytes.

INSTANTIATE_TEST_SUITE_P(
    Streams, AdtsScannerTest,
    testing::Values(ScanCase{"Whole", kFrames, {"0+17", "17+27", "44+37"}},
                    ScanCase{"OneFrame", Frame(10), {"0+17"}},
                    ScanCase{"BytesInFront", "junk\xFF" + kFrames, {"5+17", "22+27", "49+37"}},
                    ScanCase{"BytesBetween",
                             kFrames + "\xFF\xF1junk" + kFrames,
                             {"0+17", "17+27", "87+17", "104+27", "131+37"}},
                    ScanCase{
                        "LastCut", kFrames + Frame(50).substr(0, 30), {"0+17", "17+27", "44+37"}},
                    ScanCase{"BytesMissingInAFrame",
                             kFrames + Frame(50).substr(0, 30) + kFrames,
                             {"0+17", "17+27", "44+37", "111+17", "128+27", "155+37"}},
                    ScanCase{"OtherFormatInside",
                             kFrames + WithAdts("mono", 1) + kFrames,
                             {"0+17", "17+27", "92+17", "109+27", "136+37"}},
                    ScanCase{"NoFrames", std::string(1000, '\xFF'), {"no format"}},
                    ScanCase{"Empty", "", {"no format"}}),
    [](const auto& test) { return test.param.name; });

TEST(AdtsScannerFitsTest, TakesNoPlaceButTheOneOfAFrame) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("audio"), kFrames);
  ReadOnlyFile file;
  file.Open(dir.File("audio"));
  AdtsScanner scanner(&file);
  EXPECT_FALSE(scanner.Fits({0, 17}));  // The format is not known yet.
  ASSERT_TRUE(scanner.FindFormat());
  EXPECT_TRUE(scanner.Fits({0, 17}));
  EXPECT_TRUE(scanner.Fits({44, 37}));
  EXPECT_FALSE(scanner.Fits({44, 36}));
  EXPECT_FALSE(scanner.Fits({44, 38}));
  EXPECT_FALSE(scanner.Fits({1, 17}));
  EXPECT_FALSE(scanner.Fits({UINT64_MAX, 17}));
}

TEST(AdtsScannerHeaderTest, FindsEachHeaderOfTheFormatWhateverFollows) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("audio"), kFrames + "noise" + kFrames.substr(0, 12));
  ReadOnlyFile file;
  file.Open(dir.File("audio"));
  AdtsScanner scanner(&file);
  EXPECT_FALSE(scanner.FindHeader(0));  // The format is not known yet.
  ASSERT_TRUE(scanner.FindFormat());
  EXPECT_EQ(scanner.FindHeader(0)->position, 0u);
  EXPECT_EQ(scanner.FindHeader(1)->position, 17u);
  const auto cut = scanner.FindHeader(45);
  ASSERT_TRUE(cut);
  EXPECT_EQ(cut->position, kFrames.size() + 5);
  EXPECT_EQ(cut->size, 17u);
  EXPECT_FALSE(scanner.FindHeader(cut->position + 1));
}

TEST(AdtsScannerStopTest, EndsWhenItIsNotWanted) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("audio"), std::string(1000000, '\xFF'));
  ReadOnlyFile file;
  file.Open(dir.File("audio"));
  int questions = 0;
  AdtsScanner scanner(&file, [&questions] { return ++questions < 3; });
  EXPECT_FALSE(scanner.FindFormat());
  EXPECT_EQ(questions, 3);
}

}  // namespace
}  // namespace kxrtc_host
