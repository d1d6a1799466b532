#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "host/conference/conference.h"
#include "host/conference/scenario_reader.h"
#include "record/index/record_files.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/record_printer.h"
#include "tools/kxrtc/stop_signals.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::Conference;
using kxrtc_host::ConferenceOutcome;

constexpr double kMaxDurationSeconds = 7 * 24 * 3600;
constexpr std::chrono::milliseconds kSignalPoll(500);

struct RecordCommandOptions {
  std::string scenario;
  std::string record_dir;
  double duration = 0;  // Seconds; 0: as in the scenario.
  bool force = false;
  bool json = false;
  bool quiet = false;
};

ExitStatus StatusOf(ConferenceOutcome outcome, const StopSignals& signals) {
  switch (outcome) {
    case ConferenceOutcome::kComplete:
      return kExitOk;
    case ConferenceOutcome::kSourceUnreadable:
      return kExitSourceUnreadable;
    case ConferenceOutcome::kSourceRefused:
      return kExitSourceRefused;
    case ConferenceOutcome::kRecordExists:
    case ConferenceOutcome::kFolderFailed:
    case ConferenceOutcome::kStartFailed:
      return kExitOutputRefused;
    case ConferenceOutcome::kCancelled:
      return signals.exit_status();
    case ConferenceOutcome::kWriteFailed:
    case ConferenceOutcome::kRecordDamaged:
      return kExitOutputFailed;
  }
  return kExitFailure;
}

// Runs the conference on its own thread while this one waits for its end or a signal.
ConferenceOutcome RunConference(Conference* conference, StopSignals* signals, std::string* error) {
  ConferenceOutcome outcome = ConferenceOutcome::kComplete;
  std::atomic<bool> done{false};
  std::thread runner([&] {
    outcome = conference->Run(error);
    done.store(true, std::memory_order_release);
    signals->Wake();
  });
  bool asked = false;
  while (!done.load(std::memory_order_acquire)) {
    signals->Wait(kSignalPoll);
    if (signals->signal_number() == 0 || asked) continue;
    asked = true;
    conference->RequestStop();
  }
  runner.join();
  return outcome;
}

ExitStatus Record(const RecordCommandOptions& options) {
  kxrtc_host::Scenario scenario;
  std::string error;
  if (!kxrtc_host::LoadScenario(options.scenario, &scenario, &error)) {
    return Fail(kExitScenarioInvalid, error);
  }
  StopSignals signals;
  const std::unique_ptr<RecordPrinter> printer = MakeRecordPrinter(options.json, options.quiet);
  kxrtc_host::ConferenceOptions conference_options;
  conference_options.folder = kxrtc_host::RecordFolderPath(options.record_dir);
  conference_options.replace_record = options.force;
  if (options.duration > 0) {
    conference_options.duration_us = std::llround(options.duration * 1e6);
  }
  Conference conference(scenario, conference_options, printer.get());
  const ConferenceOutcome outcome = RunConference(&conference, &signals, &error);
  if (outcome == ConferenceOutcome::kComplete) {
    const char* const reason = signals.signal_number() != 0 ? "stopped by a signal" : "at the end";
    printer->OnEnd(conference.result(), reason, true);
  } else if (outcome == ConferenceOutcome::kWriteFailed ||
             outcome == ConferenceOutcome::kRecordDamaged) {
    printer->OnEnd(conference.result(), error, false);
  }
  const ExitStatus status = StatusOf(outcome, signals);
  if (error.empty()) return status;
  const char* const hint =
      outcome == ConferenceOutcome::kRecordExists
          ? "; --force replaces it"
          : (outcome == ConferenceOutcome::kWriteFailed ? "; everything before that is recorded"
                                                        : "");
  return Fail(status, error + hint);
}

}  // namespace

void AddRecordCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<RecordCommandOptions>();
  CLI::App* command =
      app.add_subcommand("record", "Play a scripted conference in real time and record it");
  paths->AddScenario(command, "SCENARIO", &options->scenario, "JSON file with the participants");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir,
                   "Folder of the record; created if missing");
  command->add_option("--duration", options->duration, "Stop after this many seconds")
      ->check(CLI::Range(0.001, kMaxDurationSeconds));
  command->add_flag("--force", options->force, "Replace a record that is in the folder");
  command->add_flag("--quiet", options->quiet, "Print errors only");
  command->add_flag("--json", options->json, "Print events as lines of JSON");
  command->footer(
      "Example:\n  kxrtc record examples/scenario.json ~/records/monday --duration 60\n");
  command->callback([options, exit_status] {
    // The range check accepts NaN.
    if (std::isnan(options->duration)) {
      throw CLI::ValidationError("--duration", "nan is not a number of seconds");
    }
    *exit_status = Record(*options);
  });
}

}  // namespace kxrtc_tool
