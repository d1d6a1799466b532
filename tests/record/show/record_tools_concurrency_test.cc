// The record tools keep no state: threads that work on one record at once get what one alone gets.
#include <gmock/gmock.h>
#include <json/value.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "record/index/record_text.h"
#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "record/show/record_documents.h"
#include "record/show/record_dump.h"
#include "record/show/record_report.h"
#include "record/timing/time_text.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/run_on_threads.h"

namespace kxrtc_host {
namespace {

using kx_testing::ReadRecord;
using kx_testing::RunOnThreads;
using kx_testing::TempDir;
using testing::HasSubstr;

constexpr int kThreads = 4;
constexpr int kTurns = 5;

// One record whose tail is torn, and the folder for what is made of it.
class RecordToolsConcurrencyTest : public testing::Test {
 protected:
  RecordToolsConcurrencyTest() {
    kx_testing::TwoSessions(record_).RawIndex("torn").RawVideo("stale").Write();
  }

  std::string Analyse() const { return JsonText(VerifyDocument(AnalyseRecord(record_.path()))); }

  std::string Dump(bool json) const {
    DumpOptions options;
    options.json = json;
    std::FILE* const file = std::tmpfile();
    const DumpResult result = DumpRecord(record_.path(), options, file);
    EXPECT_TRUE(result.readable);
    EXPECT_FALSE(result.whole);
    std::string text(static_cast<size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    EXPECT_EQ(std::fread(&text[0], 1, text.size(), file), text.size());
    std::fclose(file);
    return text;
  }

  std::string Report() const {
    const ReportAssets assets = {"{{style}}{{data}}{{script}}", "body{}", "run()"};
    return RenderReport(AnalyseRecord(record_.path()), {}, assets);
  }

  const TempDir record_;
  const TempDir targets_;
};

TEST_F(RecordToolsConcurrencyTest, EveryThreadReadsTheSame) {
  const std::string analysis = Analyse();
  const std::string text = Dump(false);
  const std::string json = Dump(true);
  const std::string report = Report();
  const std::string info = JsonText(InfoDocument(AnalyseRecord(record_.path())));
  const auto before = ReadRecord(record_.path());
  ASSERT_THAT(analysis, HasSubstr("\"document\":\"kxrtc.verify\""));
  ASSERT_THAT(text, HasSubstr("desktop"));
  ASSERT_THAT(report, HasSubstr("\"document\":\"kxrtc.report\""));
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns; ++i) {
      EXPECT_EQ(Analyse(), analysis);
      EXPECT_EQ(Dump(false), text);
      EXPECT_EQ(Dump(true), json);
      EXPECT_EQ(Report(), report);
      EXPECT_EQ(JsonText(InfoDocument(AnalyseRecord(record_.path()))), info);
    }
  });
  EXPECT_EQ(ReadRecord(record_.path()), before);
}

TEST_F(RecordToolsConcurrencyTest, EveryThreadRepairsIntoItsTarget) {
  RepairOptions options;
  options.sync = false;
  const RepairResult alone = RepairRecord(record_.path(), targets_.File("alone"), options);
  ASSERT_TRUE(alone.repaired) << alone.error;
  const std::string document = JsonText(RepairDocument(alone));
  const auto repaired = ReadRecord(targets_.File("alone/"));
  std::atomic<int> next{0};
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns; ++i) {
      const std::string target = targets_.File(std::to_string(next++));
      EXPECT_EQ(JsonText(RepairDocument(RepairRecord(record_.path(), target, options))), document);
      EXPECT_EQ(ReadRecord(target + "/"), repaired);
    }
  });
}

TEST_F(RecordToolsConcurrencyTest, OneThreadAloneGetsATargetThatAllWant) {
  RepairOptions options;
  options.sync = false;
  const RepairResult alone = RepairRecord(record_.path(), targets_.File("alone"), options);
  ASSERT_TRUE(alone.repaired) << alone.error;
  for (int i = 0; i < kTurns; ++i) {
    const std::string target = targets_.File(std::to_string(i));
    std::atomic<int> winners{0};
    RunOnThreads(kThreads, [&] {
      const RepairResult result = RepairRecord(record_.path(), target, options);
      if (result.repaired) ++winners;
      EXPECT_EQ(result.repaired, result.error.empty()) << result.error;
    });
    EXPECT_EQ(winners, 1);
    EXPECT_EQ(ReadRecord(target + "/"), ReadRecord(targets_.File("alone/")));
  }
}

TEST(RecordTextConcurrencyTest, TextHelpersGiveEachThreadItsResult) {
  RunOnThreads(kThreads, [] {
    for (int i = 0; i < 40 * kTurns; ++i) {
      EXPECT_EQ(Text("%d of %s", i, "many"), std::to_string(i) + " of many");
      EXPECT_EQ(SecondsText(-1), "-0.000001 s");
      int64_t time_us = 0;
      EXPECT_TRUE(ParseTime("12.5", &time_us));
      EXPECT_EQ(time_us, 12500000);
      EXPECT_EQ(BytesText(1000), "1.0 kB");
      EXPECT_EQ(MediaTypeText(3), "desktop");
    }
  });
}

}  // namespace
}  // namespace kxrtc_host
