// What the caller of a conference sees of it: options, events and outcome.
// Threads: Run() occupies one thread, the control thread; the observer is called on it.
// RequestStop() may be called from any.
#ifndef HOST_CONFERENCE_CONFERENCE_RUN_H_
#define HOST_CONFERENCE_CONFERENCE_RUN_H_

#include <cstdint>
#include <optional>
#include <string>

#include "host/conference/recording_watch.h"
#include "host/scenario/scenario.h"

namespace kxrtc_host {

class MediaTap;

enum class ConferenceOutcome {
  kComplete,          // The record is complete.
  kSourceUnreadable,  // From here to kStartFailed nothing was recorded.
  kSourceRefused,     // A codec other than H.264.
  kRecordExists,
  kFolderFailed,
  kStartFailed,
  kCancelled,      // Stopped while the sources were being opened.
  kWriteFailed,    // The recording ended early; the part before that is valid.
  kRecordDamaged,  // What is on the disk is not what was recorded.
};

struct ConferenceOptions {
  std::string folder;  // Of the record, with a trailing separator; created if missing.
  bool replace_record = false;
  std::optional<int64_t> duration_us;  // Overrides the scenario.
  int64_t open_timeout_us = 15000000;  // For each source.
  MediaTap* tap = nullptr;             // May be null; outlives the conference.
};

struct ConferenceProgress {
  int64_t time_us = 0;  // Since the start of the conference.
  RecordCounts counts;
  uint32_t queued_tasks = 0;  // Waiting in the recorder.
};

// Receives the events. The operations do nothing unless they are overridden.
class ConferenceObserver {
 public:
  virtual ~ConferenceObserver() = default;
  virtual void OnStarted() {}
  virtual void OnAction(int64_t /*time_us*/, const ScenarioParticipant& /*participant*/,
                        ScenarioAction /*action*/) {}
  // `participant` is null when nobody is recorded.
  virtual void OnSelection(int64_t /*time_us*/, const RecorderSelection& /*selection*/,
                           const ScenarioParticipant* /*participant*/) {}
  virtual void OnNotice(int64_t /*time_us*/, const std::string& /*text*/) {}
  virtual void OnProgress(const ConferenceProgress& /*progress*/) {}  // Every 100 ms.
};

class ConferenceRun {
 public:
  // Ends the media. Waits for a source that does not come back from the system.
  virtual ~ConferenceRun() = default;

  // Runs the whole conference. Call once. Except for kComplete and kCancelled, `*error` says why in
  // one line. Waits for no source that does not come back from the system.
  [[nodiscard]] virtual ConferenceOutcome Run(std::string* error) = 0;

  // Ends the conference now; the record is completed.
  virtual void RequestStop() = 0;

  // When the conference ended and what the record contains, after Run().
  virtual const ConferenceProgress& result() const = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_CONFERENCE_RUN_H_
