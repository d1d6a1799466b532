#include <gtest/gtest.h>

#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "tests/testing/bundled_record.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using kx_testing::TwoSessions;

// The frames of a record's dump that have all their bytes.
std::vector<std::string> WholeFrames(const std::vector<std::string>& lines) {
  std::vector<std::string> frames;
  for (const std::string& line : lines) {
    const bool is_frame = line.rfind("video ", 0) == 0 || line.rfind("audio ", 0) == 0;
    if (is_frame && line.substr(6) != "outside") frames.push_back(line);
  }
  return frames;
}

// A record of two sessions, each of its files cut at every byte: what was whole is kept, and what
// comes out plays to its end.
class CutSweepTest : public testing::TestWithParam<const char*> {};

TEST_P(CutSweepTest, KeepsAllThatIsWholeAtEveryCut) {
  const TempDir dir;
  const RecordBuilder builder = TwoSessions(dir);
  builder.Write();
  const std::string path = dir.File(std::string("SpeakeRecord") + GetParam());
  const std::string whole = kx_testing::ReadFile(path);
  uint64_t last_frames = 0;
  RepairOptions options;
  options.sync = false;  // Else the disk's speed is what this test measures.
  for (size_t size = 0; size <= whole.size(); ++size) {
    SCOPED_TRACE(size);
    kx_testing::WriteFile(path, whole.substr(0, size));
    const TempDir target;
    const RepairResult result = RepairRecord(dir.path(), target.File("new"), options);
    ASSERT_TRUE(result.repaired) << result.error;
    const RepairResult preview = PreviewRepair(dir.path(), options);
    ASSERT_EQ(preview.kept.recorded_us, result.kept.recorded_us);
    ASSERT_EQ(preview.recorded_us, result.recorded_us);
    if (size % 8 == 0) kx_testing::ExpectBundleTellsTheSame(dir.path());
    const RecordSummary before = AnalyseRecord(dir.path());
    const RecordSummary after = AnalyseRecord(target.File("new"));
    ASSERT_TRUE(after.replay.completes) << after.replay.failure;
    ASSERT_NE(after.findings.Verdict(), Severity::kError);
    ASSERT_EQ(after.recorded_us, result.kept.recorded_us);
    const uint64_t frames = after.totals.video_frames + after.totals.audio_frames;
    if (path == dir.File("SpeakeRecord.index")) {
      // What the index does not name any more is found in the data files.
      ASSERT_EQ(frames, 8u);
      ASSERT_EQ(kx_testing::ReadFile(target.File("new/SpeakeRecord.264")), builder.video());
      ASSERT_EQ(kx_testing::ReadFile(target.File("new/SpeakeRecord.aac")), builder.audio());
      last_frames = frames;
      continue;
    }
    // Every frame whose record and bytes are whole is still there; more bytes never mean fewer.
    ASSERT_EQ(frames + before.findings.count(FindingCode::kDataPastEnd),
              before.totals.video_frames + before.totals.audio_frames);
    ASSERT_GE(frames, last_frames);
    // The same by a reader that shares no code with either.
    ASSERT_EQ(WholeFrames(kx_testing::DumpRecord(dir.path())),
              WholeFrames(kx_testing::DumpRecord(target.File("new/"))));
    last_frames = frames;
  }
  EXPECT_EQ(last_frames, 8u);
}

INSTANTIATE_TEST_SUITE_P(Files, CutSweepTest, testing::Values(".index", ".264", ".aac", ".desc"),
                         [](const auto& test) { return std::string(test.param + 1); });

}  // namespace
}  // namespace kxrtc_host
