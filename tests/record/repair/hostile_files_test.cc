// Anything but a file in the place of a record's file.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using testing::Contains;
using testing::HasSubstr;

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
  const RecordSummary summary = AnalyseRecord(dir.path());
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
