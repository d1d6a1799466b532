#include "host/mp4/transcode_outcome.h"

#include "files/is_wanted.h"
#include "kxrtc/recording/speaker_record_transcoder.h"

namespace kxrtc_host {
namespace {

bool EndsAs(const TranscodeFacts& facts, RecordEnd end) {
  return facts.outline && facts.outline->end == end;
}

}  // namespace

std::optional<TranscodeOutcome> TranscodeOutcome::BeforeStart(const TranscodeFacts& facts) {
  if (!facts.output_conflict.empty()) {
    return TranscodeOutcome(Kind::kOutputRefused, facts.output + facts.output_conflict);
  }
  if (!facts.obstacle.empty()) {
    return TranscodeOutcome(Kind::kRecordUnreadable,
                            "cannot open the record in " + facts.folder + ": " + facts.obstacle);
  }
  if (EndsAs(facts, RecordEnd::kFrameTooLarge)) {
    return TranscodeOutcome(Kind::kRecordDamaged,
                            "the record in " + facts.folder +
                                " is damaged (a frame of more than 64 MiB); nothing is written");
  }
  return std::nullopt;
}

bool TranscodeOutcome::KeepsFile(const TranscodeFacts& facts) {
  if (facts.stopped) return false;
  if (facts.error_code == 0) return true;
  return facts.error_code == kxrtc::kTranscodeErrorReplay &&
         (EndsAs(facts, RecordEnd::kCutShort) || EndsAs(facts, RecordEnd::kFrameMissing));
}

TranscodeOutcome TranscodeOutcome::OfFile(const TranscodeFacts& facts) {
  if (facts.error_code == 0) return {Kind::kWritten, ""};
  const std::string cause = EndsAs(facts, RecordEnd::kFrameMissing)
                                ? "a frame is missing from its data file (see kxrtc verify); "
                                : "the record does not end with a stop record, as after a crash "
                                  "of the recording program; ";
  return {Kind::kWrittenInPart, cause + facts.output + " contains everything before that place"};
}

TranscodeOutcome TranscodeOutcome::Damaged(const TranscodeFacts& facts, const std::string& cause) {
  const bool has_content = !facts.outline || facts.outline->sessions > 0;
  return {Kind::kRecordDamaged, "the record in " + facts.folder + " is damaged (" + cause +
                                    "); nothing is written" +
                                    (has_content ? "; kxrtc repair repairs it" : "")};
}

TranscodeOutcome TranscodeOutcome::AfterStop(const TranscodeFacts& facts) {
  const Mp4WriterStatus& writer = facts.writer;
  if (writer.file_written) return OfFile(facts);
  if (facts.stopped) return {Kind::kStopped, kStoppedText};
  if (facts.error_code == kxrtc::kTranscodeErrorOpenRecord) {
    return {Kind::kRecordUnreadable,
            "cannot open the record in " + facts.folder + ": " + facts.first_error};
  }
  const std::string& writer_text =
      writer.failure_text.empty() ? facts.first_error : writer.failure_text;
  if (facts.error_code == kxrtc::kTranscodeErrorStartWriter) {
    return {Kind::kOutputRefused, writer_text};
  }
  const bool is_nothing = writer.failure == WriterFailure::kNothing;
  if (facts.error_code == kxrtc::kTranscodeErrorReplay) {
    if (writer.failure == WriterFailure::kDiscarded) return Damaged(facts, facts.first_error);
    // Not "nothing to play": a repair can recover the rest.
    if (is_nothing && EndsAs(facts, RecordEnd::kFrameMissing)) {
      return Damaged(facts, "a frame is missing from its data file");
    }
  }
  if (is_nothing) {
    return {Kind::kNothingToPlay, "the record in " + facts.folder + " contains nothing to play"};
  }
  return {Kind::kOutputFailed, writer_text};
}

}  // namespace kxrtc_host
