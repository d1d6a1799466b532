#include "record/predict/transcode_outcome.h"

#include "files/is_wanted.h"
#include "kxrtc/recording/replay_rules.h"
#include "kxrtc/recording/speaker_record_transcoder.h"
#include "record/check/descriptor_obstacle.h"

namespace kxrtc_host {
namespace {

// Begins what the library logs when the bytes of a frame cannot be read, of audio as well.
constexpr char kDataFileError[] = "failed in video_file_.";

bool EndsAs(const TranscodeFacts& facts, RecordEnd end) {
  return facts.outline && facts.outline->end == end;
}

std::string TheRecord(const TranscodeFacts& facts) {
  return "the record in " + (facts.folder.empty() ? "the working folder" : facts.folder);
}

}  // namespace

bool HasOutline(const RecordFiles& files) {
  return files.index.is_open() && files.video.is_open() && files.audio.is_open();
}

void LookIntoRecord(RecordFiles* files, TranscodeFacts* facts) {
  std::optional<RecordOutline> outline;
  if (HasOutline(*files)) outline = ReadRecordOutline(files);
  LookIntoRecord(*files, outline, facts);
}

void LookIntoRecord(const RecordFiles& files, const std::optional<RecordOutline>& outline,
                    TranscodeFacts* facts) {
  facts->obstacle = ReplayObstacle(files);
  facts->has_data = files.video.size() + files.audio.size() > 0;
  facts->outline = outline;
  if (!outline || !facts->obstacle.empty()) return;
  facts->obstacle = DescriptorObstacle(files.descriptor, outline->sessions);
}

std::optional<TranscodeOutcome> TranscodeOutcome::BeforeStart(const TranscodeFacts& facts) {
  if (!facts.output_conflict.empty()) {
    return TranscodeOutcome(Kind::kOutputRefused, facts.output + facts.output_conflict);
  }
  if (!facts.obstacle.empty()) {
    return TranscodeOutcome(Kind::kRecordUnreadable,
                            "cannot open " + TheRecord(facts) + ": " + facts.obstacle);
  }
  if (EndsAs(facts, RecordEnd::kUnreadable)) {
    return TranscodeOutcome(Kind::kRecordUnreadable,
                            "cannot read " + TheRecord(facts) + ": " + facts.outline->end_reason);
  }
  if (EndsAs(facts, RecordEnd::kFrameTooLarge) || EndsAs(facts, RecordEnd::kDamaged)) {
    return Damaged(facts);
  }
  return std::nullopt;
}

// True when the replay did not come to the end of the outline: something could not be read that was
// there before.
bool TranscodeOutcome::EndsBeforeOutline(const TranscodeFacts& facts) {
  const int64_t missing_us = MediaDurationUs(*facts.outline) - facts.media_time_us;
  return missing_us > 2 * kxrtc::kAudioFrameDurationUs ||
         (EndsAs(facts, RecordEnd::kCutShort) &&
          (facts.lacks_pictures || facts.first_error.find(kDataFileError) != std::string::npos));
}

bool TranscodeOutcome::KeepsFile(const TranscodeFacts& facts) {
  if (facts.stopped) return false;
  if (facts.error_code == 0) return true;
  return facts.error_code == kxrtc::kTranscodeErrorReplay &&
         (EndsAs(facts, RecordEnd::kCutShort) || EndsAs(facts, RecordEnd::kFrameMissing)) &&
         !EndsBeforeOutline(facts);
}

TranscodeOutcome TranscodeOutcome::OfFile(const TranscodeFacts& facts) {
  if (facts.error_code == 0) return {Kind::kWritten, ""};
  const std::string reason = facts.outline ? facts.outline->end_reason : facts.first_error;
  const std::string keeps = "; " + facts.output + " contains everything before that place";
  if (EndsAs(facts, RecordEnd::kFrameMissing)) {
    return {Kind::kWrittenInPart, reason + keeps + ", kxrtc repair also keeps what follows it"};
  }
  return {Kind::kWrittenInPart, reason + ", as after a crash of the recording program" + keeps};
}

TranscodeOutcome TranscodeOutcome::Damaged(const TranscodeFacts& facts) {
  return {Kind::kRecordDamaged, TheRecord(facts) + " is damaged (" + facts.outline->end_reason +
                                    "); nothing is written" +
                                    (facts.has_data ? "; kxrtc repair repairs it" : "")};
}

TranscodeOutcome TranscodeOutcome::AfterStop(const TranscodeFacts& facts) {
  const WriterEnd& writer = facts.writer;
  if (writer.kind == WriterEnd::Kind::kWritten) return OfFile(facts);
  if (facts.stopped) return {Kind::kStopped, kStoppedText};
  constexpr char kWhyUnreadable[] =
      "): its files were changed, their disk failed, or there is not enough memory";
  if (facts.error_code == kxrtc::kTranscodeErrorOpenRecord) {
    return {Kind::kRecordUnreadable,
            "cannot open " + TheRecord(facts) + " (" + facts.first_error + kWhyUnreadable};
  }
  const std::string& writer_text = writer.text.empty() ? facts.first_error : writer.text;
  if (facts.error_code == kxrtc::kTranscodeErrorStartWriter) {
    return {Kind::kOutputRefused, writer_text};
  }
  const bool is_nothing = writer.kind == WriterEnd::Kind::kNothing;
  if (facts.error_code == kxrtc::kTranscodeErrorReplay) {
    // The index is valid up to its end, or could not be looked into.
    if (writer.kind == WriterEnd::Kind::kDiscarded) {
      return {Kind::kRecordUnreadable, "cannot read " + TheRecord(facts) + " to its end (" +
                                           facts.first_error + kWhyUnreadable};
    }
    // Not "nothing to play": a repair can recover the rest.
    if (is_nothing && EndsAs(facts, RecordEnd::kFrameMissing)) return Damaged(facts);
  }
  if (is_nothing) return {Kind::kNothingToPlay, TheRecord(facts) + " contains nothing to play"};
  return {Kind::kOutputFailed, writer_text};
}

TranscodeOutcome TranscodeOutcome::Predict(const TranscodeFacts& facts, const WriterEnd& writer) {
  if (const auto outcome = BeforeStart(facts)) return *outcome;
  TranscodeFacts predicted = facts;
  predicted.writer = writer;
  if (writer.kind == WriterEnd::Kind::kFailed) {
    predicted.error_code = kxrtc::kTranscodeErrorWriter;
  } else if (!EndsAs(facts, RecordEnd::kComplete)) {
    predicted.error_code = kxrtc::kTranscodeErrorReplay;
  }
  return AfterStop(predicted);
}

}  // namespace kxrtc_host
