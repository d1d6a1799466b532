// What `kxrtc transcode` leaves for the keeper of an archive: a line in the manifest about how it
// ended, and the run of a command for an MP4 that is complete.
#ifndef TOOLS_KXRTC_OUTCOME_JOURNAL_H_
#define TOOLS_KXRTC_OUTCOME_JOURNAL_H_

#include <json/value.h>

#include <string>
#include <utility>

#include "host/result/manifest.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/stop_signals.h"
#include "tools/kxrtc/transcode_messages.h"

namespace kxrtc_tool {

struct JournalOptions {
  std::string manifest;  // The file; empty: none.
  std::string on_done;   // A shell command; empty: none.
};

// How a run ended.
struct JournalEntry {
  kxrtc_host::ManifestOutcome outcome = kxrtc_host::ManifestOutcome::kFailed;
  ExitStatus status = kExitOk;
  std::string origin;   // What a complete MP4 was made of; empty: there is none.
  Json::Value options;  // Those of the origin.
  bool is_repaired = false;
};

// Threads: one at a time.
class OutcomeJournal {
 public:
  // `input`: the folder of the record.
  OutcomeJournal(JournalOptions options, std::string input, std::string output)
      : options_(std::move(options)), input_(std::move(input)), output_(std::move(output)) {}

  bool is_kept() const { return !options_.manifest.empty(); }

  // Why no line can be written, in one line with the file; empty: it can. Call it first.
  std::string Open();

  // Writes the line, unless the manifest tells of the MP4 found. Runs the command before, for a
  // complete MP4. Keep the output locked meanwhile. The result is the status of the program: that
  // of the entry, unless command or manifest fail.
  ExitStatus Tell(const JournalEntry& entry, TranscodeMessages* messages, StopSignals* signals);

 private:
  int RunHook(const JournalEntry& entry, const Json::Value& told, StopSignals* signals) const;
  Json::Value LineOf(const JournalEntry& entry, const Json::Value& told) const;

  const JournalOptions options_;
  const std::string input_;
  const std::string output_;
  kxrtc_host::Manifest manifest_;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_OUTCOME_JOURNAL_H_
