// Where in recorder time each finding about a place of the record stands.
#include <gmock/gmock.h>

#include <functional>

#include "record/predict/record_analysis.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::AdtsFrame;
using kx_testing::kAdts48000;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;

struct TimeCase {
  const char* name;
  FindingCode code;
  std::function<RecordBuilder(RecordBuilder)> make;  // From an empty record.
  std::optional<int64_t> time_us;
};

class FindingTimeTest : public testing::TestWithParam<TimeCase> {};

TEST_P(FindingTimeTest, IsThatOfTheRecordConcerned) {
  const TempDir dir;
  GetParam().make(RecordBuilder(dir)).Write();
  std::vector<std::optional<int64_t>> times;
  for (const Finding& finding : AnalyseRecord(dir.path()).findings.Sorted()) {
    if (finding.code == GetParam().code) times.push_back(finding.time_us);
  }
  EXPECT_THAT(times, testing::ElementsAre(GetParam().time_us));
}

std::vector<TimeCase> Cases() {
  return {
      {"CadenceAtTheFirstFrameMeasured", FindingCode::kAudioCadence,
       [](RecordBuilder record) {
         // The first session has one frame, which no other one follows.
         record.Start(0).Audio(500, AdtsFrame(kAdts48000, 2)).Stop(600).Start(700);
         for (int i = 1; i <= 120; ++i) record.Audio(i * 23220, AdtsFrame(kAdts48000, 2));
         return record.Stop(121 * 23220);
       },
       23220},
      {"OutOfOrderAtTheFirstSwap", FindingCode::kClockOutOfOrder,
       [](RecordBuilder record) {
         return record.Start(0).Audio(200).Audio(150).Audio(300).Audio(250).Stop(400);
       },
       150},
      {"StaleAudioAtTheLastAudioRecord", FindingCode::kDataStaleTail,
       [](RecordBuilder record) {
         return record.Start(0).Audio(10).Audio(20).Stop(30).RawAudio("stale");
       },
       20},
      {"StaleVideoAtTheLastVideoRecord", FindingCode::kDataStaleTail,
       [](RecordBuilder record) {
         return record.Start(0)
             .Channel(5, kx_testing::kCamera)
             .Key(10)
             .Audio(20)
             .Stop(30)
             .RawVideo("stale");
       },
       10},
      {"StaleAudioWithoutAnyAudioRecord", FindingCode::kDataStaleTail,
       [](RecordBuilder record) { return record.Start(0).Stop(30).RawAudio("stale"); },
       std::nullopt},
      {"StaleTailOfTheIndex", FindingCode::kIndexStaleTail,
       [](RecordBuilder record) { return record.Start(0).Audio(20).Stop(30).RawIndex("stale"); },
       30},
      {"NothingButAStaleTail", FindingCode::kIndexStaleTail,
       [](RecordBuilder record) { return record.RawIndex("stale"); }, std::nullopt},
      {"TruncatedTailInASession", FindingCode::kIndexTruncatedTail,
       [](RecordBuilder record) { return record.Start(0).Audio(20).RawIndex("torn"); }, 20},
      {"GarbageInASession", FindingCode::kIndexGarbage,
       [](RecordBuilder record) {
         return record.Start(0).Audio(20).RawIndex(std::string(50, 'x')).Stop(30);
       },
       20},
      {"GarbageBetweenSessions", FindingCode::kIndexGarbage,
       [](RecordBuilder record) {
         return record.Start(0).Stop(30).RawIndex(std::string(50, 'x')).Start(40).Stop(50);
       },
       30},
      {"GarbageAtTheStart", FindingCode::kIndexGarbage,
       [](RecordBuilder record) {
         return record.RawIndex(std::string(50, 'x')).Start(40).Stop(50);
       },
       std::nullopt},
  };
}

INSTANTIATE_TEST_SUITE_P(Places, FindingTimeTest, testing::ValuesIn(Cases()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kxrtc_host
