#include "host/result/manifest.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::AppendToFile;
using kx_testing::ReadFile;
using kx_testing::TempDir;
using Access = SharedLines::Access;

class ManifestTest : public ::testing::Test {
 protected:
  void Tell(const std::string& output, ManifestOutcome outcome, const std::string& origin) {
    Manifest manifest;
    Json::Value line;
    line["outcome"] = ManifestOutcomeName(outcome);
    line["made_of"] = OriginName(origin);
    ASSERT_TRUE(manifest.Open(path_, Access::kAppend));
    ASSERT_TRUE(manifest.Append(output, line, {}));
  }
  // Both ways of reading have to agree.
  bool IsSettled(const std::string& output, const std::string& origin) {
    Manifest all;
    EXPECT_TRUE(all.Open(path_, Access::kReadOnly) && all.ReadAll());
    Manifest one;
    EXPECT_TRUE(one.Open(path_, Access::kAppend) && one.ReadOf(output, {}));
    EXPECT_EQ(all.IsSettled(output, origin), one.IsSettled(output, origin));
    return all.IsSettled(output, origin);
  }

  const TempDir dir_;
  const std::string path_ = dir_.File("manifest.ndjson");
  const std::string mp4_ = dir_.File("a/monday.mp4");
};

TEST_F(ManifestTest, KnowsWhatAnMp4WasMadeOf) {
  EXPECT_FALSE(IsSettled(mp4_, "origin"));
  Tell(mp4_, ManifestOutcome::kMade, "origin");
  EXPECT_TRUE(IsSettled(mp4_, "origin"));
  EXPECT_FALSE(IsSettled(mp4_, "another origin"));
  EXPECT_FALSE(IsSettled(dir_.File("a/tuesday.mp4"), "origin"));
  EXPECT_FALSE(IsSettled(mp4_, ""));
}

TEST_F(ManifestTest, TheLatestLineCounts) {
  for (const auto& [outcome, is_settled] : {std::pair{ManifestOutcome::kHookFailed, false},
                                            {ManifestOutcome::kFound, true},
                                            {ManifestOutcome::kFailed, false},
                                            {ManifestOutcome::kMade, true}}) {
    Tell(mp4_, outcome, "origin");
    EXPECT_EQ(IsSettled(mp4_, "origin"), is_settled) << ManifestOutcomeName(outcome);
  }
}

TEST_F(ManifestTest, NamesOutputsByTheirPathBelowIt) {
  Tell(mp4_, ManifestOutcome::kMade, "origin");
  EXPECT_THAT(ReadFile(path_), ::testing::HasSubstr(R"("output":"a/monday.mp4")"));
  EXPECT_TRUE(IsSettled(dir_.File("./b/../a/monday.mp4"), "origin"));
  Tell("/elsewhere/x.mp4", ManifestOutcome::kMade, "origin");
  EXPECT_THAT(ReadFile(path_), ::testing::HasSubstr(R"("output":"/elsewhere/x.mp4")"));
  const TempDir moved;
  std::filesystem::copy(path_, moved.File("manifest.ndjson"));
  Manifest manifest;
  ASSERT_TRUE(manifest.Open(moved.File("manifest.ndjson"), Access::kReadOnly));
  ASSERT_TRUE(manifest.ReadAll());
  EXPECT_TRUE(manifest.IsSettled(moved.File("a/monday.mp4"), "origin"));
}

TEST_F(ManifestTest, NamesMayHaveAnyBytes) {
  const std::string odd = dir_.File("\xFF\"\\\n\x7F.mp4");
  Tell(odd, ManifestOutcome::kMade, "origin");
  EXPECT_TRUE(IsSettled(odd, "origin"));
}

TEST_F(ManifestTest, OtherLinesArePassedOver) {
  Tell(mp4_, ManifestOutcome::kMade, "origin");
  const std::string other = R"({"output":"a/monday.mp4","document":)";
  AppendToFile(path_, "\nno JSON\n[1]\n" + other + "\"kxrtc.other\"}\n" + other + "7}\n" +
                          std::string(2000, '[') + R"("output":"a/monday.mp4")" + "\n");
  EXPECT_TRUE(IsSettled(mp4_, "origin"));
}

}  // namespace
}  // namespace kxrtc_host
