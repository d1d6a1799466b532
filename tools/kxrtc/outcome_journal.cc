#include "tools/kxrtc/outcome_journal.h"

#include <sys/utsname.h>

#include <chrono>
#include <filesystem>
#include <system_error>

#include "record/speakers/timeline_entry.h"
#include "tools/kxrtc/done_hook.h"
#include "tools/kxrtc/path_options.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::ManifestOutcome;

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.lexically_normal().string();
}

std::string NowText() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return kxrtc_host::UtcText(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

std::string MachineName() {
  utsname system = {};
  return uname(&system) == 0 ? system.nodename : "";
}

std::string Number(const Json::Value& told, const char* name) {
  return told[name].isIntegral() ? told[name].asString() : "";
}

}  // namespace

std::string OutcomeJournal::Open() {
  if (!is_kept()) return "";
  if (const std::string conflict = ConflictWithRecord(input_, options_.manifest);
      !conflict.empty()) {
    return options_.manifest + conflict;
  }
  return manifest_.Open(options_.manifest, kxrtc_host::SharedLines::Access::kAppend)
             ? ""
             : manifest_.error_text();
}

ExitStatus OutcomeJournal::Tell(const JournalEntry& given, TranscodeMessages* messages,
                                StopSignals* signals) {
  const auto is_wanted = [signals] { return !signals->IsStopped(); };
  const auto stopped = [&] {
    const std::string complete = given.origin.empty() ? "" : "; " + output_ + " is complete";
    return messages->Failure(signals->exit_status(),
                             "stopped before the line in the manifest" + complete);
  };
  JournalEntry entry = given;
  if (entry.outcome == ManifestOutcome::kFound) {
    if (!manifest_.ReadOf(output_, is_wanted)) {
      if (signals->signal_number() != 0) return stopped();
      return messages->Failure(kExitFailure, "cannot read the manifest: " + manifest_.error_text());
    }
    if (manifest_.IsSettled(output_, entry.origin)) return entry.status;
  }
  Json::Value told = messages->told();
  if (!entry.origin.empty()) {
    std::error_code error;
    const uintmax_t bytes = std::filesystem::file_size(output_, error);
    if (!error) told["bytes"] = Json::UInt64{bytes};
  }
  if (entry.outcome != ManifestOutcome::kFailed && !options_.on_done.empty()) {
    const int hook_status = RunHook(entry, told, signals);
    if (signals->signal_number() != 0) return stopped();
    told["hook_status"] = hook_status;
    if (hook_status != 0) {
      entry.outcome = ManifestOutcome::kHookFailed;
      entry.status = messages->Failure(
          kExitHookFailed, "the command of --on-done ended with status " +
                               std::to_string(hook_status) + "; " + output_ + " is complete");
    }
  }
  if (manifest_.Append(output_, LineOf(entry, told), is_wanted)) return entry.status;
  if (signals->signal_number() != 0) return stopped();
  return messages->Failure(kExitOutputFailed, "cannot write the line of " + output_ +
                                                  " to the manifest: " + manifest_.error_text());
}

int OutcomeJournal::RunHook(const JournalEntry& entry, const Json::Value& told,
                            StopSignals* signals) const {
  return RunDoneHook(options_.on_done,
                     {{"KXRTC_INPUT", AbsolutePath(input_)},
                      {"KXRTC_OUTPUT", AbsolutePath(output_)},
                      {"KXRTC_OUTCOME", kxrtc_host::ManifestOutcomeName(entry.outcome)},
                      {"KXRTC_STATUS", std::to_string(entry.status)},
                      {"KXRTC_BYTES", Number(told, "bytes")},
                      {"KXRTC_DURATION_US", Number(told, "duration_us")},
                      {"KXRTC_MADE_OF", kxrtc_host::OriginName(entry.origin)}},
                     signals);
}

Json::Value OutcomeJournal::LineOf(const JournalEntry& entry, const Json::Value& told) const {
  Json::Value line = told;
  line["outcome"] = kxrtc_host::ManifestOutcomeName(entry.outcome);
  line["status"] = entry.status;
  line["input"] = AbsolutePath(input_);
  line["options"] = entry.options;
  line["kxrtc_version"] = KXRTC_VERSION;
  line["machine"] = MachineName();
  line["time"] = NowText();
  if (!entry.origin.empty()) line["made_of"] = kxrtc_host::OriginName(entry.origin);
  if (entry.is_repaired) line["repaired"] = true;
  return line;
}

}  // namespace kxrtc_tool
