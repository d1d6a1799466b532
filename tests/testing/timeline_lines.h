// Builds the lines of a speaker timeline.
#ifndef TESTS_TESTING_TIMELINE_LINES_H_
#define TESTS_TESTING_TIMELINE_LINES_H_

#include <cstdint>
#include <string>

#include "record/speakers/timeline_entry.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {

class TimelineLines {
 public:
  using Kind = kxrtc_host::TimelineEntry::Kind;

  TimelineLines()
      : text_(kxrtc_host::TimelineLine(
            kxrtc_host::TimelineHeader{kxrtc_host::kSpeakerTimelineVersion, "Weekly"})) {}

  TimelineLines& Add(Kind kind, int64_t time_us, uint32_t user_id = 0, const std::string& name = "",
                     bool on = false, uint32_t ssrc = 0, uint32_t media_type = 0) {
    kxrtc_host::TimelineEntry entry;
    entry.kind = kind;
    entry.time_us = time_us;
    entry.user_id = user_id;
    entry.name = name;
    entry.on = on;
    entry.ssrc = ssrc;
    entry.media_type = media_type;
    return Raw(kxrtc_host::TimelineLine(entry));
  }
  TimelineLines& Start(int64_t time_us) { return Add(Kind::kStart, time_us); }
  TimelineLines& Stop(int64_t time_us) { return Add(Kind::kStop, time_us); }
  TimelineLines& Join(int64_t time_us, uint32_t user, const std::string& name) {
    return Add(Kind::kJoined, time_us, user, name);
  }
  TimelineLines& Leave(int64_t time_us, uint32_t user) { return Add(Kind::kLeft, time_us, user); }
  TimelineLines& Voice(int64_t time_us, uint32_t user, bool on) {
    return Add(Kind::kVoice, time_us, user, "", on);
  }
  // `ssrc` 0: no video.
  TimelineLines& Select(int64_t time_us, uint32_t user, uint32_t ssrc, uint32_t media_type = 2) {
    return Add(Kind::kSelected, time_us, user, "", false, ssrc, media_type);
  }
  TimelineLines& Raw(const std::string& bytes) {
    text_ += bytes;
    return *this;
  }

  // Puts the file beside the record in `dir`.
  void Write(const TempDir& dir) const {
    WriteFile(dir.File(kxrtc_host::kSpeakerTimelineFileName), text_);
  }

 private:
  std::string text_;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_TIMELINE_LINES_H_
