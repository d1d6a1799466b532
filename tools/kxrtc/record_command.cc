#include "tools/kxrtc/record_command.h"

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
#include "host/record/record_file.h"
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
  double duration = 0;  // Seconds; 0: as the scenario tells.
  bool force = false;
  bool json = false;
  bool quiet = false;
};

std::unique_ptr<RecordPrinter> MakePrinter(const RecordCommandOptions& options) {
  if (options.json) return std::make_unique<JsonRecordPrinter>();
  if (options.quiet) return std::make_unique<SilentRecordPrinter>();
  return std::make_unique<TextRecordPrinter>();
}

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
      return kExitOutputFailed;
  }
  return kExitFailure;
}

// Runs the conference on a thread of its own while this one waits for its end or a signal.
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
    std::fprintf(stderr, "kxrtc: %s\n", error.c_str());
    return kExitScenarioInvalid;
  }
  StopSignals signals;
  const std::unique_ptr<RecordPrinter> printer = MakePrinter(options);
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
  } else if (outcome == ConferenceOutcome::kWriteFailed) {
    printer->OnEnd(conference.result(), error, false);
  }
  if (!error.empty()) {
    const char* const hint =
        outcome == ConferenceOutcome::kRecordExists
            ? ", --force replaces it"
            : (outcome == ConferenceOutcome::kWriteFailed ? "; what was recorded before is whole"
                                                          : "");
    std::fprintf(stderr, "kxrtc: %s%s\n", error.c_str(), hint);
  }
  return StatusOf(outcome, signals);
}

}  // namespace

void AddRecordCommand(CLI::App& app, int* exit_status) {
  auto options = std::make_shared<RecordCommandOptions>();
  CLI::App* command =
      app.add_subcommand("record", "Play a scripted conference in real time and record it");
  command->add_option("SCENARIO", options->scenario, "JSON file with the participants")->required();
  command->add_option("RECORD_DIR", options->record_dir, "Folder of the record, made if missing")
      ->required();
  command->add_option("--duration", options->duration, "End after so many seconds")
      ->check(CLI::Range(0.001, kMaxDurationSeconds));
  command->add_flag("--force", options->force, "Replace a record that is in the folder");
  command->add_flag("--quiet", options->quiet, "Print nothing but errors");
  command->add_flag("--json", options->json, "Print events as lines of JSON");
  command->footer(
      "Example:\n  kxrtc record examples/scenario.json ~/records/monday --duration 60\n");
  command->callback([options, exit_status] {
    // It is neither below nor above the range.
    if (std::isnan(options->duration)) {
      throw CLI::ValidationError("--duration", "nan is no number of seconds");
    }
    *exit_status = Record(*options);
  });
}

}  // namespace kxrtc_tool
