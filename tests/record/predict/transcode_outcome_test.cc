#include "record/predict/transcode_outcome.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <vector>

#include "kxrtc/recording/speaker_record_transcoder.h"

namespace kxrtc_host {
namespace {

using Kind = TranscodeOutcome::Kind;

constexpr int32_t kOpen = kxrtc::kTranscodeErrorOpenRecord;
constexpr int32_t kWriter = kxrtc::kTranscodeErrorWriter;
constexpr int32_t kStart = kxrtc::kTranscodeErrorStartWriter;
constexpr int32_t kReplay = kxrtc::kTranscodeErrorReplay;

constexpr WriterEnd::Kind kEnds[] = {WriterEnd::Kind::kWritten, WriterEnd::Kind::kNothing,
                                     WriterEnd::Kind::kDiscarded, WriterEnd::Kind::kFailed};

std::vector<std::optional<RecordOutline>> Outlines() {
  std::vector<std::optional<RecordOutline>> outlines = {std::nullopt};
  for (const RecordEnd end :
       {RecordEnd::kComplete, RecordEnd::kCutShort, RecordEnd::kFrameMissing,
        RecordEnd::kFrameTooLarge, RecordEnd::kDamaged, RecordEnd::kUnreadable}) {
    for (const uint64_t sessions : {0, 1}) {
      RecordOutline outline;
      outline.end = end;
      outline.end_reason = end == RecordEnd::kComplete ? "" : "the reason";
      outline.sessions = sessions;
      outlines.push_back(outline);
    }
  }
  return outlines;
}

std::vector<WriterEnd> WriterEnds() {
  std::vector<WriterEnd> ends;
  for (const WriterEnd::Kind kind : kEnds) {
    for (const char* text : {"", "the writer's word"}) ends.push_back({kind, text});
  }
  return ends;
}

// Every combination of what can be known when the transcoder was stopped.
std::vector<TranscodeFacts> AllFacts() {
  std::vector<TranscodeFacts> all;
  TranscodeFacts facts;
  facts.folder = "folder/";
  facts.output = "out.mp4";
  facts.first_error = "the first error";
  facts.has_data = true;
  for (const bool stopped : {false, true}) {
    for (const int32_t code : {0, kOpen, kWriter, kStart, kReplay}) {
      for (const auto& outline : Outlines()) {
        for (const WriterEnd& writer : WriterEnds()) {
          facts.stopped = stopped;
          facts.error_code = code;
          facts.outline = outline;
          facts.writer = writer;
          all.push_back(facts);
        }
      }
    }
  }
  return all;
}

// What is empty holds for every value.
struct Rule {
  std::optional<WriterEnd::Kind> writer;
  std::optional<bool> stopped;
  std::set<int32_t> codes;
  std::optional<RecordEnd> end;
  std::optional<bool> has_outline;
  std::optional<bool> has_writer_text;

  Kind kind;
  const char* text;
};

template <typename T>
bool Holds(const std::optional<T>& wanted, const T& value) {
  return !wanted || *wanted == value;
}

bool Applies(const Rule& rule, const TranscodeFacts& facts) {
  return Holds(rule.writer, facts.writer.kind) && Holds(rule.stopped, facts.stopped) &&
         (rule.codes.empty() || rule.codes.count(facts.error_code) != 0) &&
         (!rule.end || (facts.outline && *rule.end == facts.outline->end)) &&
         Holds(rule.has_outline, facts.outline.has_value()) &&
         Holds(rule.has_writer_text, !facts.writer.text.empty());
}

constexpr std::nullopt_t kAny = std::nullopt;
const std::set<int32_t> kAnyCode;
const std::set<int32_t> kAnyError = {kOpen, kWriter, kStart, kReplay};
constexpr WriterEnd::Kind kFile = WriterEnd::Kind::kWritten;
constexpr WriterEnd::Kind kNothing = WriterEnd::Kind::kNothing;
constexpr WriterEnd::Kind kDiscarded = WriterEnd::Kind::kDiscarded;

// The first that applies counts.
const std::vector<Rule>& Rules() {
  static const std::vector<Rule> rules = {
      {kFile, kAny, {0}, kAny, kAny, kAny, Kind::kWritten, ""},
      {kFile, kAny, kAnyError, RecordEnd::kFrameMissing, kAny, kAny, Kind::kWrittenInPart,
       "the reason; out.mp4 contains everything before that place, kxrtc repair also keeps what "
       "follows it"},
      {kFile, kAny, kAnyError, kAny, false, kAny, Kind::kWrittenInPart,
       "the first error, as after a crash of the recording program; out.mp4 contains everything "
       "before that place"},
      {kFile, kAny, kAnyError, RecordEnd::kComplete, kAny, kAny, Kind::kWrittenInPart,
       ", as after a crash of the recording program; out.mp4 contains everything before that "
       "place"},
      {kFile, kAny, kAnyError, kAny, kAny, kAny, Kind::kWrittenInPart,
       "the reason, as after a crash of the recording program; out.mp4 contains everything "
       "before that place"},
      {kAny, true, kAnyCode, kAny, kAny, kAny, Kind::kStopped, "stopped; nothing is written"},
      {kAny,
       false,
       {kOpen},
       kAny,
       kAny,
       kAny,
       Kind::kRecordUnreadable,
       "cannot open the record in folder/ (the first error): its files were changed, their disk "
       "failed, or there is not enough memory"},
      {kAny, false, {kStart}, kAny, kAny, true, Kind::kOutputRefused, "the writer's word"},
      {kAny, false, {kStart}, kAny, kAny, false, Kind::kOutputRefused, "the first error"},
      {kDiscarded,
       false,
       {kReplay},
       kAny,
       kAny,
       kAny,
       Kind::kRecordUnreadable,
       "cannot read the record in folder/ to its end (the first error): its files were changed, "
       "their disk failed, or there is not enough memory"},
      {kNothing,
       false,
       {kReplay},
       RecordEnd::kFrameMissing,
       kAny,
       kAny,
       Kind::kRecordDamaged,
       "the record in folder/ is damaged (the reason); nothing is written; kxrtc repair repairs "
       "it"},
      {kNothing, false, kAnyCode, kAny, kAny, kAny, Kind::kNothingToPlay,
       "the record in folder/ contains nothing to play"},
      {kAny, false, kAnyCode, kAny, kAny, true, Kind::kOutputFailed, "the writer's word"},
      {kAny, false, kAnyCode, kAny, kAny, false, Kind::kOutputFailed, "the first error"},
  };
  return rules;
}

TEST(TranscodeOutcomeTest, EveryCombinationEndsAsItsRuleSays) {
  std::set<const Rule*> used;
  for (const TranscodeFacts& facts : AllFacts()) {
    const auto rule = std::find_if(Rules().begin(), Rules().end(), [&](const Rule& candidate) {
      return Applies(candidate, facts);
    });
    ASSERT_NE(rule, Rules().end());
    used.insert(&*rule);
    const TranscodeOutcome outcome = TranscodeOutcome::AfterStop(facts);
    ASSERT_EQ(outcome.kind(), rule->kind) << rule->text;
    ASSERT_EQ(outcome.text(), rule->text);
  }
  EXPECT_EQ(used.size(), Rules().size());
}

TEST(TranscodeOutcomeTest, AFileIsKeptOfAWholeReplayAndOfARecordThatEndsEarly) {
  for (const TranscodeFacts& facts : AllFacts()) {
    const bool ends_early =
        facts.error_code == kReplay && facts.outline &&
        std::set<RecordEnd>{RecordEnd::kCutShort, RecordEnd::kFrameMissing}.count(
            facts.outline->end) != 0;
    ASSERT_EQ(TranscodeOutcome::KeepsFile(facts),
              !facts.stopped && (facts.error_code == 0 || ends_early));
  }
}

TEST(TranscodeOutcomeTest, AFailedReadInTheMiddleIsNoEndOfTheRecord) {
  TranscodeFacts facts;
  facts.error_code = kReplay;
  facts.outline.emplace();
  facts.outline->audio_frames = 100;
  for (const RecordEnd end : {RecordEnd::kCutShort, RecordEnd::kFrameMissing}) {
    facts.outline->end = end;
    facts.first_error = "failed to read SpeakerRecordHeader";
    facts.media_time_us = 99 * 21333;
    EXPECT_TRUE(TranscodeOutcome::KeepsFile(facts));
    facts.media_time_us = 50 * 21333;
    EXPECT_FALSE(TranscodeOutcome::KeepsFile(facts));
  }
  // The index ends there, so no frame can be missing.
  facts.media_time_us = 99 * 21333;
  facts.first_error = "failed in video_file_.Read";
  EXPECT_TRUE(TranscodeOutcome::KeepsFile(facts));
  facts.outline->end = RecordEnd::kCutShort;
  EXPECT_FALSE(TranscodeOutcome::KeepsFile(facts));
  facts.first_error = "failed to read SpeakerRecordHeader";
  EXPECT_TRUE(TranscodeOutcome::KeepsFile(facts));
  facts.lacks_pictures = true;
  EXPECT_FALSE(TranscodeOutcome::KeepsFile(facts));
}

struct BeforeCase {
  const char* name;
  const char* conflict;
  const char* obstacle;
  std::optional<RecordEnd> end;
  std::optional<Kind> kind;
  const char* text;
};

void PrintTo(const BeforeCase& before_case, std::ostream* out) { *out << before_case.name; }

class BeforeStartTest : public ::testing::TestWithParam<BeforeCase> {};

TEST_P(BeforeStartTest, WhatIsCertainBeforehandIsNotStarted) {
  TranscodeFacts facts;
  facts.folder = "folder/";
  facts.output = "out.mp4";
  facts.has_data = true;
  facts.output_conflict = GetParam().conflict;
  facts.obstacle = GetParam().obstacle;
  if (GetParam().end) {
    facts.outline.emplace();
    facts.outline->end = *GetParam().end;
    facts.outline->end_reason = "the reason";
  }
  const auto outcome = TranscodeOutcome::BeforeStart(facts);
  ASSERT_EQ(outcome.has_value(), GetParam().kind.has_value());
  if (!outcome) return;
  EXPECT_EQ(outcome->kind(), *GetParam().kind);
  EXPECT_EQ(outcome->text(), GetParam().text);
  // A prediction says the same, whatever becomes of the writer.
  for (const WriterEnd& writer : WriterEnds()) {
    EXPECT_EQ(TranscodeOutcome::Predict(facts, writer).text(), GetParam().text);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, BeforeStartTest,
    ::testing::Values(
        BeforeCase{"Whole", "", "", RecordEnd::kComplete, kAny, ""},
        BeforeCase{"CutShort", "", "", RecordEnd::kCutShort, kAny, ""},
        BeforeCase{"FrameMissing", "", "", RecordEnd::kFrameMissing, kAny, ""},
        BeforeCase{"NoOutline", "", "", kAny, kAny, ""},
        BeforeCase{"Conflict", " is in use", "no such file", RecordEnd::kDamaged,
                   Kind::kOutputRefused, "out.mp4 is in use"},
        BeforeCase{"Obstacle", "", "no such file", RecordEnd::kDamaged, Kind::kRecordUnreadable,
                   "cannot open the record in folder/: no such file"},
        BeforeCase{"Unreadable", "", "", RecordEnd::kUnreadable, Kind::kRecordUnreadable,
                   "cannot read the record in folder/: the reason"},
        BeforeCase{"Damaged", "", "", RecordEnd::kDamaged, Kind::kRecordDamaged,
                   "the record in folder/ is damaged (the reason); nothing is written; kxrtc "
                   "repair repairs it"},
        BeforeCase{"FrameTooLarge", "", "", RecordEnd::kFrameTooLarge, Kind::kRecordDamaged,
                   "the record in folder/ is damaged (the reason); nothing is written; kxrtc "
                   "repair repairs it"}),
    [](const auto& test) { return test.param.name; });

TEST(TranscodeOutcomeTest, NoRepairIsPromisedWhereThereIsNothingToKeep) {
  TranscodeFacts facts;
  facts.outline.emplace();
  facts.outline->end = RecordEnd::kDamaged;
  facts.outline->end_reason = "the reason";
  EXPECT_EQ(TranscodeOutcome::BeforeStart(facts)->text(),
            "the record in the working folder is damaged (the reason); nothing is written");
}

struct PredictCase {
  const char* name;
  RecordEnd end;
  WriterEnd writer;
  Kind kind;
};

void PrintTo(const PredictCase& predict_case, std::ostream* out) { *out << predict_case.name; }

class PredictOutcomeTest : public ::testing::TestWithParam<PredictCase> {};

TEST_P(PredictOutcomeTest, FollowsFromTheRecordAndTheWriter) {
  TranscodeFacts facts;
  facts.outline.emplace();
  facts.outline->end = GetParam().end;
  EXPECT_EQ(TranscodeOutcome::Predict(facts, GetParam().writer).kind(), GetParam().kind);
}

INSTANTIATE_TEST_SUITE_P(
    All, PredictOutcomeTest,
    ::testing::Values(
        PredictCase{"Whole", RecordEnd::kComplete, {kFile, ""}, Kind::kWritten},
        PredictCase{"Empty", RecordEnd::kComplete, {kNothing, ""}, Kind::kNothingToPlay},
        PredictCase{"Sound",
                    RecordEnd::kComplete,
                    {WriterEnd::Kind::kFailed, "44100 Hz"},
                    Kind::kOutputFailed},
        PredictCase{"Crash", RecordEnd::kCutShort, {kFile, ""}, Kind::kWrittenInPart},
        PredictCase{"CrashAtOnce", RecordEnd::kCutShort, {kNothing, ""}, Kind::kNothingToPlay},
        PredictCase{"FrameMissing", RecordEnd::kFrameMissing, {kFile, ""}, Kind::kWrittenInPart},
        PredictCase{
            "FirstFrameMissing", RecordEnd::kFrameMissing, {kNothing, ""}, Kind::kRecordDamaged}),
    [](const auto& test) { return test.param.name; });

TEST(TranscodeKindTest, EveryKindHasAName) {
  std::set<std::string> names;
  for (int kind = 0; kind <= static_cast<int>(Kind::kOutputFailed); ++kind) {
    names.insert(TranscodeKindName(static_cast<Kind>(kind)));
  }
  EXPECT_EQ(names, (std::set<std::string>{"written", "written-in-part", "stopped",
                                          "record-unreadable", "record-damaged", "nothing-to-play",
                                          "output-refused", "output-failed"}));
}

}  // namespace
}  // namespace kxrtc_host
