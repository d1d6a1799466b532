// What a repair makes of the speaker timeline beside a record.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "record/repair/record_repair.h"
#include "record/speakers/timeline_entry.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::ReadFile;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using testing::Contains;
using testing::Field;
using testing::IsEmpty;

constexpr char kHeader[] = "{\"speaker_timeline\":1,\"title\":\"Weekly\"}\n";

std::string StopLine(int64_t time_us) {
  TimelineEntry entry;
  entry.kind = TimelineEntry::Kind::kStop;
  entry.time_us = time_us;
  return TimelineLine(entry);
}

// A record that ends at 200 microseconds.
class TimelineRepairTest : public testing::Test {
 protected:
  TimelineRepairTest() {
    kx_testing::RecordBuilder(record_)
        .Start(100)
        .Audio(150, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2))
        .Stop(200)
        .Write();
  }

  void Repair(const std::string& timeline) {
    WriteFile(record_.File(kSpeakerTimelineFileName), timeline);
    result_ = RepairRecord(record_.path(), target_, RepairOptions());
    EXPECT_EQ(result_.error, "");
  }

  std::string kept_path() const { return target_ + "/" + kSpeakerTimelineFileName; }

  TempDir record_;
  TempDir parent_;
  std::string target_ = parent_.File("repaired");
  RepairResult result_;
};

TEST_F(TimelineRepairTest, KeepsTheWholeLinesUpToTheEnd) {
  const std::string unknown = "{\"event\":\"new\",\"us\":160}\n";
  const std::string kept = kHeader + StopLine(150) + unknown + StopLine(200);
  Repair(kept + StopLine(201) + "{\"event\":\"st");
  EXPECT_EQ(ReadFile(kept_path()), kept);
  EXPECT_THAT(result_.changes.kept, IsEmpty());
}

TEST_F(TimelineRepairTest, TellsTheLinesThatItLeavesOut) {
  Repair(kHeader + std::string("x\n") + StopLine(150) + "y\n");
  EXPECT_EQ(ReadFile(kept_path()), kHeader + StopLine(150));
  EXPECT_THAT(
      result_.changes.kept,
      Contains(Field(&RepairChange::text, "2 damaged lines of SpeakerTimeline.ndjson: left out")));
}

TEST_F(TimelineRepairTest, LeavesOutWhatIsNoTimeline) {
  Repair("{\"speaker_timeline\":2}\n");
  EXPECT_FALSE(std::filesystem::exists(kept_path()));
  EXPECT_THAT(
      result_.changes.kept,
      Contains(Field(&RepairChange::text, "everything of SpeakerTimeline.ndjson: left out")));
}

TEST_F(TimelineRepairTest, MakesNoneWhereThereIsNone) {
  result_ = RepairRecord(record_.path(), target_, RepairOptions());
  EXPECT_TRUE(result_.repaired);
  EXPECT_FALSE(std::filesystem::exists(kept_path()));
  EXPECT_THAT(result_.changes.kept, IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
