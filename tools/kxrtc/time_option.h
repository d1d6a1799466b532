// Options that are times.
#ifndef TOOLS_KXRTC_TIME_OPTION_H_
#define TOOLS_KXRTC_TIME_OPTION_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <string>

#include "record/timing/time_text.h"

namespace kxrtc_tool {

// Accepts the times from `first_us` to `last_us`, as ParseTime() reads them.
inline CLI::Validator TimeValidator(int64_t first_us = std::numeric_limits<int64_t>::min(),
                                    int64_t last_us = std::numeric_limits<int64_t>::max()) {
  return CLI::Validator(
      [=](const std::string& text) -> std::string {
        int64_t time_us = 0;
        if (!kxrtc_host::ParseTime(text, &time_us)) {
          return text + " is not a time such as 12.5 or 1:02:03";
        }
        if (time_us >= first_us && time_us <= last_us) return "";
        return text + " is not from " + kxrtc_host::SecondsText(first_us) + " to " +
               kxrtc_host::SecondsText(last_us);
      },
      "TIME");
}

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TIME_OPTION_H_
