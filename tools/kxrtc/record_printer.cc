#include "tools/kxrtc/record_printer.h"

#include <json/value.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>

#include "kxrtc/recording/peer_connection_conductor.h"
#include "record/index/record_text.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/line_output.h"
#include "tools/kxrtc/terminal_text.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::ClockText;
using kxrtc_host::ConferenceProgress;
using kxrtc_host::RecordCounts;
using kxrtc_host::RecorderSelection;
using kxrtc_host::ScenarioAction;
using kxrtc_host::ScenarioParticipant;

constexpr int64_t kPlainProgressUs = 5000000;
constexpr int64_t kTerminalProgressUs = 200000;
constexpr int64_t kJsonProgressUs = 1000000;
constexpr std::chrono::milliseconds kPatience(500);  // With a reader, at the end.
constexpr char kClearLine[] = "\r\033[K";

const char* MediaName(const RecorderSelection& selection) {
  if (selection.user_id == 0) return "none";
  if (selection.media_type == kxrtc::PeerConnectionConductor::kDesktop) return "share";
  return selection.ssrc == 0 ? "audio" : "camera";
}

std::string CountsText(const RecordCounts& counts) {
  char text[160];
  std::snprintf(text, sizeof(text), "%" PRIu64 " video and %s, %.1f MB", counts.video_frames,
                kxrtc_host::CountText(counts.audio_frames, "audio frame").c_str(),
                static_cast<double>(counts.video_bytes + counts.audio_bytes) / 1e6);
  return text;
}

// The first multiple of `step` after `time_us`.
int64_t NextMultiple(int64_t time_us, int64_t step) { return (time_us / step + 1) * step; }

double Seconds(int64_t time_us) { return static_cast<double>(time_us) / 1e6; }

Json::Value Event(const char* name, int64_t time_us) {
  Json::Value event = EventLine(name);
  event["time"] = Seconds(time_us);
  return event;
}

void AddCounts(const ConferenceProgress& progress, Json::Value* event) {
  const RecordCounts& counts = progress.counts;
  (*event)["sessions"] = Json::UInt64{counts.sessions};
  (*event)["switches"] = Json::UInt64{counts.switches};
  (*event)["video_frames"] = Json::UInt64{counts.video_frames};
  (*event)["audio_frames"] = Json::UInt64{counts.audio_frames};
  (*event)["video_bytes"] = Json::UInt64{counts.video_bytes};
  (*event)["audio_bytes"] = Json::UInt64{counts.audio_bytes};
  (*event)["index_bytes"] = Json::UInt64{counts.index_bytes};
  (*event)["queued_tasks"] = progress.queued_tasks;
}

void AddParticipant(const ScenarioParticipant& participant, Json::Value* event) {
  (*event)["user_id"] = participant.user_id;
  (*event)["name"] = participant.name;
}

// Lines on standard output. On a terminal a progress line is kept below them, otherwise one is
// printed every five seconds.
class TextRecordPrinter : public RecordPrinter {
 public:
  void OnStarted() override { PrintLine(0, "recording, Ctrl-C stops it"); }

  void OnAction(int64_t time_us, const ScenarioParticipant& participant,
                ScenarioAction action) override {
    PrintLine(time_us, participant.name + ": " + kxrtc_host::ScenarioActionName(action));
  }

  void OnSelection(int64_t time_us, const RecorderSelection& selection,
                   const ScenarioParticipant* participant) override {
    recorded_ =
        participant == nullptr ? "nobody" : participant->name + " (" + MediaName(selection) + ")";
    PrintLine(time_us, "now recorded: " + recorded_ +
                           (selection.reason.empty() ? "" : ", " + selection.reason));
  }

  void OnNotice(int64_t time_us, const std::string& text) override {
    PrintLine(time_us, "warning: " + text);
  }

  void OnProgress(const ConferenceProgress& progress) override {
    if (progress.time_us < next_progress_us_) return;
    next_progress_us_ =
        NextMultiple(progress.time_us, terminal_ ? kTerminalProgressUs : kPlainProgressUs);
    const std::string text = recorded_ + ", " + CountsText(progress.counts) + ", " +
                             std::to_string(progress.queued_tasks) + " queued";
    if (!terminal_) return PrintLine(progress.time_us, text);
    output_.Print(kClearLine + ClockText(progress.time_us, 1) + "  " + TerminalText(text));
    line_open_ = true;
  }

  void OnEnd(const ConferenceProgress& result, const std::string& reason, bool complete) override {
    PrintLine(result.time_us,
              (complete ? "complete, " : "incomplete, ") + reason + ": " +
                  CountsText(result.counts) + ", " + std::to_string(result.counts.switches) +
                  kxrtc_host::ByCount(result.counts.switches, " switch", " switches"));
    output_.Drain(kPatience);
  }

 private:
  void PrintLine(int64_t time_us, const std::string& text) {
    output_.Print((line_open_ ? kClearLine : "") + ClockText(time_us, 1) + "  " +
                  TerminalText(text) + "\n");
    line_open_ = false;
  }

  LineOutput output_;
  const bool terminal_ = isatty(STDOUT_FILENO) != 0;
  bool line_open_ = false;  // The progress line is on the terminal.
  int64_t next_progress_us_ = 0;
  std::string recorded_ = "nobody";
};

// One JSON object per line on standard output (docs/tool_record.md lists the members).
class JsonRecordPrinter : public RecordPrinter {
 public:
  void OnStarted() override { Print(Event("start", 0)); }

  void OnAction(int64_t time_us, const ScenarioParticipant& participant,
                ScenarioAction action) override {
    Json::Value event = Event("action", time_us);
    AddParticipant(participant, &event);
    event["do"] = kxrtc_host::ScenarioActionName(action);
    Print(event);
  }

  void OnSelection(int64_t time_us, const RecorderSelection& selection,
                   const ScenarioParticipant* participant) override {
    Json::Value event = Event("recorded", time_us);
    event["media"] = MediaName(selection);
    event["ssrc"] = selection.ssrc;
    event["reason"] = selection.reason;
    if (participant != nullptr) AddParticipant(*participant, &event);
    Print(event);
  }

  void OnNotice(int64_t time_us, const std::string& text) override {
    Json::Value event = Event("warning", time_us);
    event["text"] = text;
    Print(event);
  }

  void OnProgress(const ConferenceProgress& progress) override {
    if (progress.time_us < next_progress_us_) return;
    next_progress_us_ = NextMultiple(progress.time_us, kJsonProgressUs);
    Json::Value event = Event("progress", progress.time_us);
    AddCounts(progress, &event);
    Print(event);
  }

  void OnEnd(const ConferenceProgress& result, const std::string& reason, bool complete) override {
    Json::Value event = Event("end", result.time_us);
    event["complete"] = complete;
    event["reason"] = reason;
    AddCounts(result, &event);
    Print(event);
    output_.Drain(kPatience);
  }

 private:
  void Print(const Json::Value& event) { output_.Print(JsonLine(event)); }

  LineOutput output_;
  int64_t next_progress_us_ = 0;
};

// Prints nothing.
class SilentRecordPrinter : public RecordPrinter {
 public:
  void OnEnd(const ConferenceProgress&, const std::string&, bool) override {}
};

}  // namespace

std::unique_ptr<RecordPrinter> MakeRecordPrinter(bool json, bool quiet) {
  if (json) return std::make_unique<JsonRecordPrinter>();
  if (quiet) return std::make_unique<SilentRecordPrinter>();
  return std::make_unique<TextRecordPrinter>();
}

}  // namespace kxrtc_tool
