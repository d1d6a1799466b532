// Builds the report page of a record: one HTML document that needs nothing else, but the MP4 where
// that is too large to be part of it.
// Threads: any; blocks while it works.
#ifndef HOST_RECORD_RECORD_REPORT_H_
#define HOST_RECORD_RECORD_REPORT_H_

#include <cstdint>
#include <string>

#include "host/record/record_summary.h"

namespace kxrtc_host {

// The page's parts. The template names the places of the others as "{{style}}", "{{script}}" and
// "{{data}}".
struct ReportAssets {
  std::string page;
  std::string style;
  std::string script;
};

// An MP4 up to this size becomes part of the page.
inline constexpr uint64_t kMaxEmbeddedVideo = 2 * 1024 * 1024;

// The page's address of the MP4 at `video_path`: the file itself as a data URL when it is small,
// else its path relative to the folder of the page at `page_path`. False with `*error` when the MP4
// cannot be read.
[[nodiscard]] bool VideoUrl(const std::string& video_path, const std::string& page_path,
                            std::string* url, std::string* error);

std::string RenderReport(const RecordSummary& summary, const ReportAssets& assets,
                         const std::string& video_url);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_RECORD_REPORT_H_
