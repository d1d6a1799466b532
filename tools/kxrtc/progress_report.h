// The progress of a long run: a bar on a terminal, plain lines elsewhere, or JSON lines.
#ifndef TOOLS_KXRTC_PROGRESS_REPORT_H_
#define TOOLS_KXRTC_PROGRESS_REPORT_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace kxrtc_tool {

enum class ProgressStyle {
  kQuiet,     // Nothing.
  kTerminal,  // One line on standard error that changes.
  kLines,     // A line on standard error every 10 percent and every ten seconds.
  kJson,      // A JSON line on standard output at most every second.
};

// The style for `quiet`, `json` and the kind of standard error.
ProgressStyle ChooseProgressStyle(bool quiet, bool json);

struct Progress {
  int percent = 0;
  int64_t media_us = 0;    // Done.
  int64_t total_us = 0;    // 0: unknown.
  int64_t elapsed_us = 0;  // Of wall time.
};

// "[#####...............]  25%  0:00:10 of 0:00:40  16.0x  0:00:02 left". `bar_width` 0: no bar.
std::string ProgressText(const Progress& progress, int bar_width);

// Threads: one at a time.
class ProgressReport {
 public:
  explicit ProgressReport(ProgressStyle style) : style_(style) {}

  // Shows the progress if enough time has passed.
  void Show(const Progress& progress);

  // Clears the line of the terminal for later messages.
  void End();

 private:
  bool IsDue(const Progress& progress) const;

  const ProgressStyle style_;
  bool shown_ = false;
  int shown_percent_ = 0;
  int64_t shown_us_ = 0;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_PROGRESS_REPORT_H_
