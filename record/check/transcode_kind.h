// How a transcoding ends, or would end.
// Threads: any.
#ifndef RECORD_CHECK_TRANSCODE_KIND_H_
#define RECORD_CHECK_TRANSCODE_KIND_H_

namespace kxrtc_host {

enum class TranscodeKind {
  kWritten,           // The file contains the whole record.
  kWrittenInPart,     // It contains everything before the place where the record is cut short.
  kStopped,           // No file; also for all kinds below.
  kRecordUnreadable,  // A file of the record or its descriptor cannot be read.
  kRecordDamaged,     // The replay cannot go on.
  kNothingToPlay,     // The record contains no media.
  kOutputRefused,     // The file could not be created.
  kOutputFailed,      // Writing failed half-way, or the writer does not take the sound.
};

// "written", "written-in-part", "stopped", "record-unreadable", "record-damaged",
// "nothing-to-play", "output-refused" or "output-failed".
const char* TranscodeKindName(TranscodeKind kind);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_TRANSCODE_KIND_H_
