// Prints the events of a conference during recording, for people or for programs.
// Threads: an object belongs to one thread at a time.
#ifndef TOOLS_KXRTC_RECORD_PRINTER_H_
#define TOOLS_KXRTC_RECORD_PRINTER_H_

#include <memory>
#include <string>

#include "host/conference/conference_run.h"

namespace kxrtc_tool {

// Adds the end to the events of an observer.
class RecordPrinter : public kxrtc_host::ConferenceObserver {
 public:
  // The record is complete (`reason` says what ended it) or incomplete.
  virtual void OnEnd(const kxrtc_host::ConferenceProgress& result, const std::string& reason,
                     bool complete) = 0;
};

// Lines of JSON, nothing, or lines for people.
std::unique_ptr<RecordPrinter> MakeRecordPrinter(bool json, bool quiet);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_RECORD_PRINTER_H_
