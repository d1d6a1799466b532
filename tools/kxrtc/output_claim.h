// Whether `kxrtc transcode` has to make its output, and the right to do so.
#ifndef TOOLS_KXRTC_OUTPUT_CLAIM_H_
#define TOOLS_KXRTC_OUTPUT_CLAIM_H_

#include <string>

#include "files/output_lock.h"

namespace kxrtc_tool {

// Threads: one at a time.
class OutputClaim {
 public:
  enum class Kind {
    kMake,      // It is to be made. Until the end of this object nobody else makes it.
    kUpToDate,  // It was made of the same.
    kBusy,      // Another process makes it.
    kForeign,   // It is not ours, or somebody changed it.
  };

  enum class When {
    kAlways,
    kIfNeeded,  // An output of the same origin is up to date, one of another may be replaced.
    kIfOurs,    // One of any origin may be replaced.
  };

  // `origin`: what the output is to be made of, RecordOrigin(). Removes what a killed run left.
  // With `keeps_up_to_date` nobody else has to do with an output that is up to date either, until
  // the end of this object. Call once.
  Kind Take(const std::string& output, const std::string& origin, When when, bool keeps_up_to_date);

  // Why it is not made, in one line with the file.
  const std::string& text() const { return text_; }

  // It is there, and may be replaced.
  bool replaces() const { return replaces_; }

 private:
  Kind Look(const std::string& output, const std::string& origin, When when);

  kxrtc_host::OutputLock lock_;
  std::string text_;
  bool replaces_ = false;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_OUTPUT_CLAIM_H_
