// The outcome of a transcoding, derived from the library's error code, the writer and the record.
// Threads: any; plain values.
#ifndef HOST_MP4_TRANSCODE_OUTCOME_H_
#define HOST_MP4_TRANSCODE_OUTCOME_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "host/mp4/writer_status.h"
#include "record/predict/record_outline.h"

namespace kxrtc_host {

// The facts about one transcoding, filled in step by step.
struct TranscodeFacts {
  std::string folder;  // Of the record, as it was given to the transcoder.
  std::string output;
  std::string
      output_conflict;   // Why `output` must not be written, as text after its name; empty: it may.
  std::string obstacle;  // Why no replay can open the record; empty: it can.
  std::optional<RecordOutline> outline;  // Without a value: it cannot be read.
  bool stopped = false;                  // The user no longer wants a file.
  // The first TranscodeErrorCode: a writer that fails makes the replay fail as well. 0: none.
  int32_t error_code = 0;
  std::string first_error;  // The first error that was logged.
  Mp4WriterStatus writer;
};

class TranscodeOutcome {
 public:
  enum class Kind {
    kWritten,           // The file contains the whole record.
    kWrittenInPart,     // It contains everything before the place where the record is cut short.
    kStopped,           // No file; also for all kinds below.
    kRecordUnreadable,  // A file of the record or its descriptor cannot be opened.
    kRecordDamaged,     // The replay cannot go on.
    kNothingToPlay,     // The record contains no media.
    kOutputRefused,     // The file could not be created.
    kOutputFailed,      // Writing failed half-way.
  };

  // The outcome if it is certain before the start, from the facts up to `outline`. Without a value:
  // start the transcoder.
  static std::optional<TranscodeOutcome> BeforeStart(const TranscodeFacts& facts);

  // True when the file, possibly incomplete, is wanted. Ask before the transcoder is stopped: the
  // stop finishes the file unless the writer was told to discard it.
  static bool KeepsFile(const TranscodeFacts& facts);

  // The outcome after the transcoder was stopped.
  static TranscodeOutcome AfterStop(const TranscodeFacts& facts);

  Kind kind() const { return kind_; }

  // One sentence for the user without the full stop; empty for kWritten.
  const std::string& text() const { return text_; }

 private:
  TranscodeOutcome(Kind kind, std::string text) : kind_(kind), text_(std::move(text)) {}

  static TranscodeOutcome OfFile(const TranscodeFacts& facts);
  static TranscodeOutcome Damaged(const TranscodeFacts& facts, const std::string& cause);

  Kind kind_;
  std::string text_;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_TRANSCODE_OUTCOME_H_
