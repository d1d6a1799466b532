#include "tools/kxrtc/record_printer.h"

#include <json/value.h>
#include <unistd.h>

#include <cstdio>

#include "tools/kxrtc/json_line.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::ConferenceProgress;
using kxrtc_host::RecordCounts;
using kxrtc_host::RecorderSelection;
using kxrtc_host::ScenarioAction;
using kxrtc_host::ScenarioParticipant;

constexpr int64_t kPlainProgressUs = 5000000;
constexpr int64_t kTerminalProgressUs = 200000;
constexpr int64_t kJsonProgressUs = 1000000;
constexpr char kClearLine[] = "\r\033[K";

// "0:12.3"
std::string ClockText(int64_t time_us) {
  const long long tenths = time_us / 100000;
  char text[32];
  std::snprintf(text, sizeof(text), "%lld:%02lld.%lld", tenths / 600, tenths / 10 % 60,
                tenths % 10);
  return text;
}

// A name from a file must not steer the terminal.
std::string Printable(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = '?';
  }
  return text;
}

const char* MediaName(const RecorderSelection& selection) {
  if (selection.user_id == 0) return "none";
  if (selection.media_type == kxrtc::PeerConnectionConductor::kDesktop) return "share";
  return selection.ssrc == 0 ? "audio" : "camera";
}

std::string CountsText(const RecordCounts& counts) {
  char text[160];
  std::snprintf(text, sizeof(text), "%llu video and %llu audio frames, %.1f MB",
                static_cast<unsigned long long>(counts.video_frames),
                static_cast<unsigned long long>(counts.audio_frames),
                static_cast<double>(counts.video_bytes + counts.audio_bytes) / 1e6);
  return text;
}

// The first multiple of `step` after `time_us`.
int64_t NextMultiple(int64_t time_us, int64_t step) { return (time_us / step + 1) * step; }

double Seconds(int64_t time_us) { return static_cast<double>(time_us) / 1e6; }

Json::Value Event(const char* name, int64_t time_us) {
  Json::Value event;
  event["event"] = name;
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

}  // namespace

TextRecordPrinter::TextRecordPrinter() : terminal_(isatty(STDOUT_FILENO) != 0) {}

void TextRecordPrinter::PrintLine(int64_t time_us, const std::string& text) {
  if (line_open_) std::printf("%s", kClearLine);
  line_open_ = false;
  std::printf("%s  %s\n", ClockText(time_us).c_str(), Printable(text).c_str());
  std::fflush(stdout);
}

void TextRecordPrinter::OnStarted() { PrintLine(0, "recording, Ctrl-C ends it"); }

void TextRecordPrinter::OnAction(int64_t time_us, const ScenarioParticipant& participant,
                                 ScenarioAction action) {
  PrintLine(time_us, participant.name + ": " + kxrtc_host::ScenarioActionName(action));
}

void TextRecordPrinter::OnSelection(int64_t time_us, const RecorderSelection& selection,
                                    const ScenarioParticipant* participant) {
  recorded_ =
      participant == nullptr ? "nobody" : participant->name + " (" + MediaName(selection) + ")";
  PrintLine(time_us, "now recorded: " + recorded_ +
                         (selection.reason.empty() ? "" : ", " + selection.reason));
}

void TextRecordPrinter::OnNotice(int64_t time_us, const std::string& text) {
  PrintLine(time_us, "warning: " + text);
}

void TextRecordPrinter::OnProgress(const ConferenceProgress& progress) {
  if (progress.time_us < next_progress_us_) return;
  next_progress_us_ =
      NextMultiple(progress.time_us, terminal_ ? kTerminalProgressUs : kPlainProgressUs);
  const std::string text = recorded_ + ", " + CountsText(progress.counts) + ", " +
                           std::to_string(progress.queued_tasks) + " queued";
  if (!terminal_) return PrintLine(progress.time_us, text);
  std::printf("%s%s  %s", kClearLine, ClockText(progress.time_us).c_str(), Printable(text).c_str());
  line_open_ = true;
  std::fflush(stdout);
}

void TextRecordPrinter::OnEnd(const ConferenceProgress& result, const std::string& reason,
                              bool complete) {
  PrintLine(result.time_us, (complete ? "complete, " : "broke off, ") + reason + ": " +
                                CountsText(result.counts) + ", " +
                                std::to_string(result.counts.switches) + " switches");
}

void JsonRecordPrinter::OnStarted() { PrintJsonLine(Event("start", 0)); }

void JsonRecordPrinter::OnAction(int64_t time_us, const ScenarioParticipant& participant,
                                 ScenarioAction action) {
  Json::Value event = Event("action", time_us);
  AddParticipant(participant, &event);
  event["do"] = kxrtc_host::ScenarioActionName(action);
  PrintJsonLine(event);
}

void JsonRecordPrinter::OnSelection(int64_t time_us, const RecorderSelection& selection,
                                    const ScenarioParticipant* participant) {
  Json::Value event = Event("recorded", time_us);
  event["media"] = MediaName(selection);
  event["ssrc"] = selection.ssrc;
  event["reason"] = selection.reason;
  if (participant != nullptr) AddParticipant(*participant, &event);
  PrintJsonLine(event);
}

void JsonRecordPrinter::OnNotice(int64_t time_us, const std::string& text) {
  Json::Value event = Event("warning", time_us);
  event["text"] = text;
  PrintJsonLine(event);
}

void JsonRecordPrinter::OnProgress(const ConferenceProgress& progress) {
  if (progress.time_us < next_progress_us_) return;
  next_progress_us_ = NextMultiple(progress.time_us, kJsonProgressUs);
  Json::Value event = Event("progress", progress.time_us);
  AddCounts(progress, &event);
  PrintJsonLine(event);
}

void JsonRecordPrinter::OnEnd(const ConferenceProgress& result, const std::string& reason,
                              bool complete) {
  Json::Value event = Event("end", result.time_us);
  event["complete"] = complete;
  event["reason"] = reason;
  AddCounts(result, &event);
  PrintJsonLine(event);
}

}  // namespace kxrtc_tool
