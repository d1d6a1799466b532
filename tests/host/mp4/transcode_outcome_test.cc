#include "host/mp4/transcode_outcome.h"

#include <gtest/gtest.h>

#include <algorithm>
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

constexpr WriterFailure kFailures[] = {
    WriterFailure::kNone,  WriterFailure::kRefused, WriterFailure::kOutput,   WriterFailure::kVideo,
    WriterFailure::kAudio, WriterFailure::kNothing, WriterFailure::kDiscarded};

std::vector<std::optional<RecordOutline>> Outlines() {
  std::vector<std::optional<RecordOutline>> outlines = {std::nullopt};
  for (const RecordEnd end : {RecordEnd::kComplete, RecordEnd::kCutShort, RecordEnd::kFrameMissing,
                              RecordEnd::kFrameTooLarge, RecordEnd::kDamaged}) {
    for (const uint64_t sessions : {0, 1}) {
      RecordOutline outline;
      outline.end = end;
      outline.sessions = sessions;
      outlines.push_back(outline);
    }
  }
  return outlines;
}

std::vector<Mp4WriterStatus> WriterEnds() {
  std::vector<Mp4WriterStatus> ends(1);
  ends[0].file_written = true;
  for (const WriterFailure failure : kFailures) {
    for (const char* text : {"", "the writer's word"}) {
      Mp4WriterStatus end;
      end.failure = failure;
      end.failure_text = text;
      ends.push_back(end);
    }
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
  for (const bool stopped : {false, true}) {
    for (const int32_t code : {0, kOpen, kWriter, kStart, kReplay}) {
      for (const auto& outline : Outlines()) {
        for (const Mp4WriterStatus& writer : WriterEnds()) {
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
  std::optional<bool> written;
  std::optional<bool> stopped;
  std::set<int32_t> codes;
  std::optional<WriterFailure> failure;
  std::optional<RecordEnd> end;
  std::optional<bool> has_session;  // Also where the record has no outline.
  std::optional<bool> has_writer_text;

  Kind kind;
  const char* text;
};

template <typename T>
bool Holds(const std::optional<T>& wanted, const T& value) {
  return !wanted || *wanted == value;
}

bool Applies(const Rule& rule, const TranscodeFacts& facts) {
  return Holds(rule.written, facts.writer.file_written) && Holds(rule.stopped, facts.stopped) &&
         (rule.codes.empty() || rule.codes.count(facts.error_code) != 0) &&
         Holds(rule.failure, facts.writer.failure) &&
         (!rule.end || (facts.outline && *rule.end == facts.outline->end)) &&
         Holds(rule.has_session, !facts.outline || facts.outline->sessions > 0) &&
         Holds(rule.has_writer_text, !facts.writer.failure_text.empty());
}

constexpr std::nullopt_t kAny = std::nullopt;
const std::set<int32_t> kAnyCode;
const std::set<int32_t> kAnyError = {kOpen, kWriter, kStart, kReplay};

// The first that applies counts.
const std::vector<Rule>& Rules() {
  static const std::vector<Rule> rules = {
      {true, kAny, {0}, kAny, kAny, kAny, kAny, Kind::kWritten, ""},
      {true, kAny, kAnyError, kAny, RecordEnd::kFrameMissing, kAny, kAny, Kind::kWrittenInPart,
       "a frame is missing from its data file (see kxrtc verify); out.mp4 contains everything "
       "before that place"},
      {true, kAny, kAnyError, kAny, kAny, kAny, kAny, Kind::kWrittenInPart,
       "the record does not end with a stop record, as after a crash of the recording program; "
       "out.mp4 contains everything before that place"},
      {false, true, kAnyCode, kAny, kAny, kAny, kAny, Kind::kStopped,
       "stopped; nothing is written"},
      {false,
       false,
       {kOpen},
       kAny,
       kAny,
       kAny,
       kAny,
       Kind::kRecordUnreadable,
       "cannot open the record in folder/: the first error"},
      {false, false, {kStart}, kAny, kAny, kAny, true, Kind::kOutputRefused, "the writer's word"},
      {false, false, {kStart}, kAny, kAny, kAny, false, Kind::kOutputRefused, "the first error"},
      {false,
       false,
       {kReplay},
       WriterFailure::kDiscarded,
       kAny,
       true,
       kAny,
       Kind::kRecordDamaged,
       "the record in folder/ is damaged (the first error); nothing is written; kxrtc repair "
       "repairs it"},
      {false,
       false,
       {kReplay},
       WriterFailure::kDiscarded,
       kAny,
       false,
       kAny,
       Kind::kRecordDamaged,
       "the record in folder/ is damaged (the first error); nothing is written"},
      {false,
       false,
       {kReplay},
       WriterFailure::kNothing,
       RecordEnd::kFrameMissing,
       true,
       kAny,
       Kind::kRecordDamaged,
       "the record in folder/ is damaged (a frame is missing from its data file); nothing is "
       "written; kxrtc repair repairs it"},
      {false,
       false,
       {kReplay},
       WriterFailure::kNothing,
       RecordEnd::kFrameMissing,
       false,
       kAny,
       Kind::kRecordDamaged,
       "the record in folder/ is damaged (a frame is missing from its data file); nothing is "
       "written"},
      {false, false, kAnyCode, WriterFailure::kNothing, kAny, kAny, kAny, Kind::kNothingToPlay,
       "the record in folder/ contains nothing to play"},
      {false, false, kAnyCode, kAny, kAny, kAny, true, Kind::kOutputFailed, "the writer's word"},
      {false, false, kAnyCode, kAny, kAny, kAny, false, Kind::kOutputFailed, "the first error"},
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

TEST(TranscodeOutcomeTest, WhatIsCertainBeforehandIsNotStarted) {
  for (const auto& outline : Outlines()) {
    for (const char* obstacle : {"", "no such file"}) {
      for (const char* conflict : {"", " is in use"}) {
        TranscodeFacts facts;
        facts.folder = "folder/";
        facts.output = "out.mp4";
        facts.outline = outline;
        facts.obstacle = obstacle;
        facts.output_conflict = conflict;
        const auto outcome = TranscodeOutcome::BeforeStart(facts);
        const bool is_too_large = outline && outline->end == RecordEnd::kFrameTooLarge;
        ASSERT_EQ(outcome.has_value(), *conflict != '\0' || *obstacle != '\0' || is_too_large);
        if (*conflict != '\0') {
          EXPECT_EQ(outcome->kind(), Kind::kOutputRefused);
          EXPECT_EQ(outcome->text(), "out.mp4 is in use");
        } else if (*obstacle != '\0') {
          EXPECT_EQ(outcome->kind(), Kind::kRecordUnreadable);
          EXPECT_EQ(outcome->text(), "cannot open the record in folder/: no such file");
        } else if (is_too_large) {
          EXPECT_EQ(outcome->kind(), Kind::kRecordDamaged);
          EXPECT_EQ(outcome->text(),
                    "the record in folder/ is damaged (a frame of more than 64 MiB); nothing is "
                    "written");
        }
      }
    }
  }
}

}  // namespace
}  // namespace kxrtc_host
