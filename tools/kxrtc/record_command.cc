#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "host/conference/conference_run.h"
#include "host/scenario/scenario_reader.h"
#include "record/index/record_files.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/media_loader.h"
#include "tools/kxrtc/record_printer.h"
#include "tools/kxrtc/stop_signals.h"
#include "tools/kxrtc/time_option.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::ConferenceOutcome;

constexpr int64_t kMinDurationUs = 1000;
constexpr int64_t kMaxDurationUs = int64_t{7} * 24 * 3600 * 1000000;
constexpr std::chrono::milliseconds kSignalPoll(500);
constexpr std::chrono::milliseconds kPatience(500);  // With sources, once the record is done.

struct RecordCommandOptions {
  std::string scenario;
  std::string record_dir;
  std::string duration;  // Empty: as in the scenario.
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

// What a recording consists of.
struct Recording {
  kxrtc_host::Scenario scenario;
  kxrtc_host::ConferenceOptions options;
  std::unique_ptr<RecordPrinter> printer;
  std::unique_ptr<kxrtc_host::ConferenceRun> conference;

  // After Run():
  ConferenceOutcome outcome = ConferenceOutcome::kComplete;
  std::string error;
  kxrtc_host::ConferenceProgress result;
};

// Runs the conference on its own thread while this one waits for its end or a signal.
void RunConference(Recording* recording, StopSignals* signals) {
  std::atomic<bool> done{false};
  std::thread runner([&] {
    recording->outcome = recording->conference->Run(&recording->error);
    done.store(true, std::memory_order_release);
    signals->Wake();
  });
  bool asked = false;
  while (!done.load(std::memory_order_acquire)) {
    signals->Wait(kSignalPoll);
    if (signals->signal_number() == 0 || asked) continue;
    asked = true;
    recording->conference->RequestStop();
  }
  runner.join();
  recording->result = recording->conference->result();
}

// Ends the media. A source that does not come back from the system is left behind, with all that it
// may use, until the program ends.
void CloseMedia(const std::shared_ptr<Recording>& recording) {
  std::promise<void> ended;
  const std::future<void> end = ended.get_future();
  std::thread([recording, ended = std::move(ended)]() mutable {
    recording->conference.reset();
    ended.set_value();
  }).detach();
  (void)end.wait_for(kPatience);
}

void PrintEnd(const Recording& recording, const StopSignals& signals) {
  switch (recording.outcome) {
    case ConferenceOutcome::kComplete:
      recording.printer->OnEnd(recording.result,
                               signals.signal_number() != 0 ? "stopped by a signal" : "at the end",
                               true);
      break;
    case ConferenceOutcome::kWriteFailed:
    case ConferenceOutcome::kRecordDamaged:
      recording.printer->OnEnd(recording.result, recording.error, false);
      break;
    default:
      break;
  }
}

const char* HintFor(ConferenceOutcome outcome) {
  if (outcome == ConferenceOutcome::kRecordExists) return "; --force replaces it";
  if (outcome == ConferenceOutcome::kWriteFailed) return "; everything before that is recorded";
  return "";
}

ExitStatus Record(const RecordCommandOptions& options) {
  const auto recording = std::make_shared<Recording>();
  if (!kxrtc_host::LoadScenario(options.scenario, &recording->scenario, &recording->error)) {
    return Fail(kExitScenarioInvalid, recording->error);
  }
  StopSignals signals;
  const kxrtc_host::Media* const media = LoadMedia(&recording->error);
  if (media == nullptr) return Fail(kExitFailure, recording->error);
  recording->printer = MakeRecordPrinter(options.json, options.quiet);
  recording->options.folder = kxrtc_host::RecordFolderPath(options.record_dir);
  recording->options.replace_record = options.force;
  int64_t duration_us = 0;
  if (kxrtc_host::ParseTime(options.duration, &duration_us)) {
    recording->options.duration_us = duration_us;
  }
  recording->conference =
      media->MakeConference(recording->scenario, recording->options, recording->printer.get());
  RunConference(recording.get(), &signals);
  PrintEnd(*recording, signals);
  const ExitStatus status = StatusOf(recording->outcome, signals);
  if (!recording->error.empty()) {
    (void)Fail(status, recording->error + HintFor(recording->outcome));
  }
  CloseMedia(recording);
  return status;
}

}  // namespace

void AddRecordCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<RecordCommandOptions>();
  CLI::App* command =
      app.add_subcommand("record", "Play a scripted conference in real time and record it");
  paths->AddScenario(command, "SCENARIO", &options->scenario, "JSON file with the participants");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir,
                   "Folder of the record; created if missing");
  command->add_option("--duration", options->duration, "Stop after this time")
      ->check(TimeValidator(kMinDurationUs, kMaxDurationUs));
  command->add_flag("-f,--force", options->force, "Replace a record that is in the folder");
  command->add_flag("-q,--quiet", options->quiet, "Print errors only");
  command->add_flag("-j,--json", options->json, "Print events as lines of JSON");
  command->footer(
      "Example, with a camera that ffmpeg makes (docs/scenario.md has more):\n"
      "  ffmpeg -f lavfi -i testsrc2=size=640x360:rate=24 \\\n"
      "    -f lavfi -i sine -t 3 -bf 0 ada.mp4\n"
      "  echo '{\"participants\": [{\"user_id\": 1, \"camera\": \"ada.mp4\"}]}' > talk.json\n"
      "  kxrtc record talk.json monday --duration 2.5\n");
  command->callback([options, exit_status] { *exit_status = Record(*options); });
}

}  // namespace kxrtc_tool
