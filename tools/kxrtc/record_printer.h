// Prints what happens in a conference that is being recorded, for people or for programs.
// Threads: an object belongs to one thread at a time.
#ifndef TOOLS_KXRTC_RECORD_PRINTER_H_
#define TOOLS_KXRTC_RECORD_PRINTER_H_

#include <cstdint>
#include <string>

#include "host/conference/conference.h"

namespace kxrtc_tool {

// Adds the end to what an observer is told.
class RecordPrinter : public kxrtc_host::ConferenceObserver {
 public:
  // The record is complete (`reason` tells what ended it) or broke off.
  virtual void OnEnd(const kxrtc_host::ConferenceProgress& result, const std::string& reason,
                     bool complete) = 0;
};

// Lines on standard output. On a terminal a progress line is kept below them, otherwise one is
// printed every five seconds.
class TextRecordPrinter : public RecordPrinter {
 public:
  TextRecordPrinter();

  void OnStarted() override;
  void OnAction(int64_t time_us, const kxrtc_host::ScenarioParticipant& participant,
                kxrtc_host::ScenarioAction action) override;
  void OnSelection(int64_t time_us, const kxrtc_host::RecorderSelection& selection,
                   const kxrtc_host::ScenarioParticipant* participant) override;
  void OnNotice(int64_t time_us, const std::string& text) override;
  void OnProgress(const kxrtc_host::ConferenceProgress& progress) override;
  void OnEnd(const kxrtc_host::ConferenceProgress& result, const std::string& reason,
             bool complete) override;

 private:
  void PrintLine(int64_t time_us, const std::string& text);

  const bool terminal_;
  bool line_open_ = false;  // The progress line is on the terminal.
  int64_t next_progress_us_ = 0;
  std::string recorded_ = "nobody";
};

// One JSON object a line on standard output (docs/tool_record.md lists the members).
class JsonRecordPrinter : public RecordPrinter {
 public:
  void OnStarted() override;
  void OnAction(int64_t time_us, const kxrtc_host::ScenarioParticipant& participant,
                kxrtc_host::ScenarioAction action) override;
  void OnSelection(int64_t time_us, const kxrtc_host::RecorderSelection& selection,
                   const kxrtc_host::ScenarioParticipant* participant) override;
  void OnNotice(int64_t time_us, const std::string& text) override;
  void OnProgress(const kxrtc_host::ConferenceProgress& progress) override;
  void OnEnd(const kxrtc_host::ConferenceProgress& result, const std::string& reason,
             bool complete) override;

 private:
  int64_t next_progress_us_ = 0;
};

// Prints nothing.
class SilentRecordPrinter : public RecordPrinter {
 public:
  void OnEnd(const kxrtc_host::ConferenceProgress&, const std::string&, bool) override {}
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_RECORD_PRINTER_H_
