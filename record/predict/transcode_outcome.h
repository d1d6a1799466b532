// The outcome of a transcoding, derived from the record, the library's error code and the MP4
// writer: what the tool says of one that ended, and what a prediction says of one to come.
// Threads: any; plain values.
#ifndef RECORD_PREDICT_TRANSCODE_OUTCOME_H_
#define RECORD_PREDICT_TRANSCODE_OUTCOME_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "record/check/transcode_kind.h"
#include "record/index/record_files.h"
#include "record/predict/record_outline.h"

namespace kxrtc_host {

// What became of the file, or will.
struct WriterEnd {
  enum class Kind {
    kWritten,    // The finished file is under its name.
    kNothing,    // Nothing came that a file could be made of.
    kDiscarded,  // The host asked for that.
    kFailed,     // Anything else; `text` says why.
  };

  Kind kind = Kind::kFailed;
  std::string text;  // One sentence for the user; may be empty.
};

// The facts about one transcoding, filled in step by step.
struct TranscodeFacts {
  std::string folder;  // Of the record, as it was given to the transcoder.
  std::string output;
  std::string
      output_conflict;   // Why `output` must not be written, as text after its name; empty: it may.
  std::string obstacle;  // Why no replay can open the record; empty: it can.
  std::optional<RecordOutline> outline;  // Without a value: it cannot be read.
  bool has_data = false;                 // A data file is not empty: a repair finds something.
  bool stopped = false;                  // The user no longer wants a file.
  // The first TranscodeErrorCode: a writer that fails makes the replay fail as well. 0: none.
  int32_t error_code = 0;
  std::string first_error;      // The first error that was logged.
  int64_t media_time_us = 0;    // How far the writer came.
  bool lacks_pictures = false;  // It was given fewer than the replay has up to the outline's end.
  WriterEnd writer;
};

// True when the index can be outlined: it and the data files are open.
bool HasOutline(const RecordFiles& files);

// Fills in what the files of the record say: `obstacle`, `outline` and `has_data`. The second form
// takes the outline of somebody who walked along the index.
void LookIntoRecord(RecordFiles* files, TranscodeFacts* facts);
void LookIntoRecord(const RecordFiles& files, const std::optional<RecordOutline>& outline,
                    TranscodeFacts* facts);

class TranscodeOutcome {
 public:
  using Kind = TranscodeKind;

  // The outcome if it is certain before the start, from the facts up to `outline`. Without a value:
  // start the transcoder.
  static std::optional<TranscodeOutcome> BeforeStart(const TranscodeFacts& facts);

  // True when the file, possibly incomplete, is wanted. Ask before the transcoder is stopped: the
  // stop finishes the file unless the writer was told to discard it.
  static bool KeepsFile(const TranscodeFacts& facts);

  // The outcome after the transcoder was stopped.
  static TranscodeOutcome AfterStop(const TranscodeFacts& facts);

  // The outcome of a transcoding that nobody stops and that has room, from the facts up to
  // `outline`. `writer`: how the writer ends with all that the replay gives it.
  static TranscodeOutcome Predict(const TranscodeFacts& facts, const WriterEnd& writer);

  Kind kind() const { return kind_; }

  // One sentence for the user without the full stop; empty for kWritten.
  const std::string& text() const { return text_; }

 private:
  TranscodeOutcome(Kind kind, std::string text) : kind_(kind), text_(std::move(text)) {}

  static bool EndsBeforeOutline(const TranscodeFacts& facts);
  static TranscodeOutcome OfFile(const TranscodeFacts& facts);
  static TranscodeOutcome Damaged(const TranscodeFacts& facts);

  Kind kind_;
  std::string text_;
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_TRANSCODE_OUTCOME_H_
