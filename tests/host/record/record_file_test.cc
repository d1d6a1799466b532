#include "host/record/record_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "host/record/record_analysis.h"
#include "host/record/record_repair.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using testing::Contains;
using testing::HasSubstr;

TEST(RecordFileTest, ReadsWholePiecesAndStopsAtTheEnd) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("data"), "0123456789");
  RecordFile file;
  ASSERT_EQ(file.Open(dir.File("data")), RecordFile::State::kOpen);
  EXPECT_EQ(file.size(), 10u);
  char buffer[16] = {};
  EXPECT_EQ(file.Read(4, buffer, 3), 3u);
  EXPECT_EQ(std::string(buffer, 3), "456");
  EXPECT_EQ(file.Read(8, buffer, 16), 2u);
  EXPECT_EQ(file.Read(10, buffer, 1), 0u);
  EXPECT_EQ(file.Read(~uint64_t{0}, buffer, 1), 0u);
}

TEST(RecordFileTest, ShowsPiecesOfAnyPlaceThroughItsWindow) {
  const TempDir dir;
  std::string content(RecordFile::kWindowSize * 2 + 5, 'a');
  content[RecordFile::kWindowSize - 1] = 'x';
  content[RecordFile::kWindowSize] = 'y';
  kx_testing::WriteFile(dir.File("data"), content);
  RecordFile file;
  ASSERT_EQ(file.Open(dir.File("data")), RecordFile::State::kOpen);
  const auto view = [&file](uint64_t position, size_t size) {
    const uint8_t* bytes = file.View(position, size);
    return bytes ? std::string(reinterpret_cast<const char*>(bytes), size) : "none";
  };
  EXPECT_EQ(view(0, 2), "aa");
  EXPECT_EQ(view(RecordFile::kWindowSize - 1, 2), "xy");
  EXPECT_EQ(view(0, 1), "a");
  EXPECT_EQ(view(content.size() - 1, 1), "a");
  EXPECT_EQ(view(content.size(), 0), "");
  EXPECT_EQ(view(content.size() - 1, 2), "none");
  EXPECT_EQ(view(~uint64_t{0}, 2), "none");
}

TEST(RecordFileTest, ShowsNothingOfAFileThatBecameShorter) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("data"), std::string(100, 'a'));
  RecordFile file;
  ASSERT_EQ(file.Open(dir.File("data")), RecordFile::State::kOpen);
  std::filesystem::resize_file(dir.File("data"), 10);
  EXPECT_EQ(file.View(20, 5), nullptr);
  EXPECT_EQ(file.View(8, 5), nullptr);
  EXPECT_NE(file.View(5, 5), nullptr);
}

TEST(RecordFileTest, TellsWhichPositionsAreInReach) {
  TempDir dir;
  kx_testing::WriteFile(dir.File("f"), "0123456789");
  RecordFile file;
  ASSERT_EQ(file.Open(dir.File("f")), RecordFile::State::kOpen);
  EXPECT_TRUE(file.CanSeekTo(0));
  EXPECT_TRUE(file.CanSeekTo(1000));
  EXPECT_FALSE(file.CanSeekTo(~uint64_t{0}));
  EXPECT_FALSE(file.CanSeekTo(uint64_t{1} << 63));
}

TEST(RecordFileTest, FollowsALinkToARegularFile) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("data"), "0123");
  std::filesystem::create_symlink(dir.File("data"), dir.File("link"));
  RecordFile file;
  EXPECT_EQ(file.Open(dir.File("link")), RecordFile::State::kOpen);
}

// Something else in the place of each file of a record: nothing hangs, crashes or is changed.
struct HostileCase {
  const char* name;
  void (*make)(const std::string& path);
  const char* error;
};

void MakeFifo(const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }
void MakeFolder(const std::string& path) { std::filesystem::create_directory(path); }
void MakeZeroLink(const std::string& path) { std::filesystem::create_symlink("/dev/zero", path); }
void MakeLoop(const std::string& path) { std::filesystem::create_symlink(path, path); }
void MakeNothing(const std::string&) {}

class HostileFileTest : public testing::TestWithParam<std::tuple<HostileCase, const char*>> {};

TEST_P(HostileFileTest, IsToldAndDoesNoHarm) {
  const auto& [hostile, extension] = GetParam();
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const std::string path = dir.File(std::string("SpeakeRecord") + extension);
  std::filesystem::remove(path);
  hostile.make(path);
  const RecordSummary summary = AnalyseRecord(dir.path(), {});
  EXPECT_EQ(summary.findings.Verdict(), Severity::kError);
  std::vector<std::string> texts;
  for (const Finding& finding : summary.findings.Sorted()) texts.push_back(finding.text);
  EXPECT_THAT(texts, Contains(path + ": " + hostile.error));
  const TempDir target;
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  EXPECT_EQ(std::filesystem::exists(target.File("new")), result.repaired);
  if (!result.repaired) {
    EXPECT_THAT(result.error, HasSubstr(path));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, HostileFileTest,
    testing::Combine(
        testing::Values(HostileCase{"Fifo", MakeFifo, "not a regular file"},
                        HostileCase{"Folder", MakeFolder, "not a regular file"},
                        HostileCase{"Device", MakeZeroLink, "not a regular file"},
                        HostileCase{"Loop", MakeLoop, "Too many levels of symbolic links"},
                        HostileCase{"Nothing", MakeNothing, "No such file or directory"}),
        testing::Values(".index", ".264", ".aac", ".desc")),
    [](const auto& test) {
      return std::get<0>(test.param).name + std::string("As") + (std::get<1>(test.param) + 1);
    });

}  // namespace
}  // namespace kxrtc_host
