#include "tools/kxrtc/part_options.h"

#include <cstdint>
#include <string>
#include <vector>

#include "record/parts/kept_parts.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/time_option.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::ParseTime;
using kxrtc_host::PartRequest;
using kxrtc_host::TimeRange;

// Longer than any record.
constexpr int64_t kLastTimeUs = int64_t{1000000} * 3600 * 1000000;

CLI::Validator RangeValidator() {
  return CLI::Validator(
      [](const std::string& text) -> std::string {
        const size_t dash = text.find('-', 1);
        if (dash == std::string::npos) {
          return text + " is not two times with a dash between them, such as 1:02-1:10";
        }
        const CLI::Validator time = TimeValidator(0, kLastTimeUs);
        for (std::string part : {text.substr(0, dash), text.substr(dash + 1)}) {
          const std::string error = time(part);
          if (!error.empty()) return error;
        }
        TimeRange range;
        (void)ParseTime(text.substr(0, dash), &range.from_us);
        (void)ParseTime(text.substr(dash + 1), &range.to_us);
        return range.from_us < range.to_us ? "" : text + " does not end after its start";
      },
      "FROM-TO");
}

void AddTime(CLI::App* command, const char* name, int64_t* time_us, const char* description) {
  command
      ->add_option_function<std::string>(
          name, [time_us](const std::string& text) { (void)ParseTime(text, time_us); }, description)
      ->check(TimeValidator(0, kLastTimeUs));
}

}  // namespace

void AddPartOptions(CLI::App* command, PartRequest* request) {
  AddTime(command, "--from", &request->from_us,
          "Start the file there, a time of the MP4 of the whole record");
  AddTime(command, "--to", &request->to_us, "End the file there");
  command
      ->add_option_function<std::vector<std::string>>(
          "--cut",
          [request](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) {
              TimeRange cut;
              const size_t dash = text.find('-', 1);
              (void)ParseTime(text.substr(0, dash), &cut.from_us);
              (void)ParseTime(text.substr(dash + 1), &cut.to_us);
              request->cuts.push_back(cut);
            }
          },
          "Remove what is between these times, so that no byte of it is in\n"
          "the file; may be given many times")
      ->allow_extra_args(false)
      ->check(RangeValidator());
}

void RefuseEmptyParts(const PartRequest& request) {
  if (request.from_us >= request.to_us) {
    throw CLI::ValidationError("--to", "must be later than --from");
  }
  if (kxrtc_host::KeptParts(request).parts().empty()) {
    throw CLI::ValidationError("--cut", "removes everything; cut less");
  }
}

}  // namespace kxrtc_tool
