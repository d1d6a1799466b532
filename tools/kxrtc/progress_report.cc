#include "tools/kxrtc/progress_report.h"

#include <json/value.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "record/timing/time_text.h"
#include "tools/kxrtc/json_line.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::ClockText;

constexpr int64_t kSecondUs = 1000000;
constexpr int64_t kLinesEveryUs = 10 * kSecondUs;
constexpr int kLinesEveryPercent = 10;
constexpr int kBarWidth = 20;

double Speed(const Progress& progress) {
  return progress.elapsed_us > 0
             ? static_cast<double>(progress.media_us) / static_cast<double>(progress.elapsed_us)
             : 0;
}

// -1: not known yet.
int64_t TimeLeftUs(const Progress& progress) {
  const double speed = Speed(progress);
  if (speed <= 0 || progress.total_us <= 0) return -1;
  const int64_t left_us = std::max<int64_t>(progress.total_us - progress.media_us, 0);
  return static_cast<int64_t>(static_cast<double>(left_us) / speed);
}

}  // namespace

ProgressStyle ChooseProgressStyle(bool quiet, bool json) {
  if (json) return ProgressStyle::kJson;
  if (quiet) return ProgressStyle::kQuiet;
  return isatty(STDERR_FILENO) != 0 ? ProgressStyle::kTerminal : ProgressStyle::kLines;
}

std::string ProgressText(const Progress& progress, int bar_width) {
  std::string text;
  if (bar_width > 0) {
    const int filled = std::clamp(progress.percent, 0, 100) * bar_width / 100;
    text = "[" + std::string(static_cast<size_t>(filled), '#') +
           std::string(static_cast<size_t>(bar_width - filled), '.') + "] ";
  }
  char numbers[64];
  std::snprintf(numbers, sizeof(numbers), "%3d%%  ", progress.percent);
  text += numbers + ClockText(progress.media_us, 0);
  if (progress.total_us > 0) text += " of " + ClockText(progress.total_us, 0);
  std::snprintf(numbers, sizeof(numbers), "  %.1fx", Speed(progress));
  text += numbers;
  const int64_t left_us = TimeLeftUs(progress);
  if (left_us >= 0) text += "  " + ClockText(left_us + kSecondUs - 1, 0) + " left";
  return text;
}

bool ProgressReport::IsDue(const Progress& progress) const {
  const int64_t since_us = progress.elapsed_us - shown_us_;
  switch (style_) {
    case ProgressStyle::kTerminal:
      return true;
    case ProgressStyle::kLines:
      return since_us >= kLinesEveryUs || progress.percent >= shown_percent_ + kLinesEveryPercent;
    case ProgressStyle::kJson:
      return since_us >= kSecondUs;
    default:
      return false;
  }
}

void ProgressReport::Show(const Progress& progress) {
  if (!IsDue(progress)) return;
  shown_ = true;
  shown_us_ = progress.elapsed_us;
  shown_percent_ = progress.percent / kLinesEveryPercent * kLinesEveryPercent;
  if (style_ == ProgressStyle::kTerminal) {
    std::fprintf(stderr, "\r%s\033[K", ProgressText(progress, kBarWidth).c_str());
  } else if (style_ == ProgressStyle::kLines) {
    std::fprintf(stderr, "%s\n", ProgressText(progress, 0).c_str());
  } else {
    Json::Value line = EventLine("progress");
    line["percent"] = progress.percent;
    line["media_us"] = Json::Int64{progress.media_us};
    line["total_us"] = Json::Int64{progress.total_us};
    line["speed"] = Speed(progress);
    const int64_t left_us = TimeLeftUs(progress);
    if (left_us >= 0) line["left_us"] = Json::Int64{left_us};
    PrintJsonLine(line);
  }
}

void ProgressReport::End() {
  if (style_ == ProgressStyle::kTerminal && shown_) std::fprintf(stderr, "\r\033[K");
  shown_ = false;
}

}  // namespace kxrtc_tool
