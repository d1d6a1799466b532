// Builds the report page of a record: one HTML document. It needs no other file, except an MP4 that
// is too large to embed.
// Threads: any; blocks while it works.
#ifndef RECORD_SHOW_RECORD_REPORT_H_
#define RECORD_SHOW_RECORD_REPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "record/check/record_summary.h"
#include "record/predict/speaker_turns.h"
#include "record/show/filmstrip.h"

namespace kxrtc_host {

// The page's parts. The template has "{{style}}", "{{script}}" and "{{data}}" where the others
// go.
struct ReportAssets {
  std::string page;
  std::string style;
  std::string script;
};

// What the page shows beside the record itself.
struct ReportContents {
  std::string video_url;  // Empty: no video.
  std::vector<FilmPicture> pictures;
  SpeakerTurns speakers;
  bool anonymous = false;  // Nothing of it tells who met where; see MakeAnonymous().
};

// An MP4 up to this size is embedded in the page.
inline constexpr uint64_t kMaxEmbeddedVideo = 2 * 1024 * 1024;

// The page's address of the MP4 at `video_path`: the file itself as a data URL when it is small,
// else its path relative to the folder of the page at `page_path`. False with `*error` when the MP4
// cannot be read.
[[nodiscard]] bool VideoUrl(const std::string& video_path, const std::string& page_path,
                            std::string* url, std::string* error);

std::string RenderReport(const RecordSummary& summary, const ReportContents& contents,
                         const ReportAssets& assets);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_RECORD_REPORT_H_
