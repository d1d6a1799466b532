#include "record/show/timeline_listing.h"

#include <json/value.h>

#include <cinttypes>

#include "record/index/record_text.h"
#include "record/show/record_documents.h"
#include "record/speakers/timeline_reader.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

using Kind = TimelineEntry::Kind;
using Step = TimelineReader::Step;

constexpr char kMember[] = ",\"speaker_timeline\":{";
constexpr char kUnknownEvent[] = "unknown";
constexpr char kDamagedLine[] = "damaged";

Json::Value EntryElement(const TimelineEntry& entry) {
  Json::Value value;
  switch (entry.kind) {
    case Kind::kStart:
      value["utc"] = UtcText(entry.utc_us);
      break;
    case Kind::kStop:
      break;
    case Kind::kJoined:
      value["name"] = entry.name;
      value["user_id"] = entry.user_id;
      break;
    case Kind::kLeft:
      value["user_id"] = entry.user_id;
      break;
    case Kind::kSelected:
      value["ssrc"] = entry.ssrc;
      value["user_id"] = entry.user_id;
      value["media_type"] = entry.media_type;
      break;
    case Kind::kVoice:
      value["user_id"] = entry.user_id;
      value["on"] = entry.on;
      break;
  }
  return value;
}

class TimelineListing {
 public:
  TimelineListing(const DumpOptions& options, std::FILE* out) : options_(options), out_(out) {}

  void Show(TimelineReader* reader) {
    Begin(reader->header());
    for (Step step; std::ferror(out_) == 0 && (step = reader->Next()) != Step::kEnd;) {
      ++line_;
      // The time of an unknown event is known.
      if (step != Step::kDamaged) time_us_ = reader->entry().time_us;
      if (!IsAskedFor()) continue;
      if (step == Step::kEntry) {
        ShowEntry(reader->entry());
      } else {
        ShowRow(step == Step::kUnknown ? kUnknownEvent : kDamagedLine, step == Step::kUnknown, "",
                Json::Value());
      }
    }
    if (options_.json) std::fputs("\n]", out_);
    if (!reader->problem().empty()) ShowProblem(reader->problem());
    if (options_.json) std::fputs("}", out_);
  }

  void ShowOnlyProblem(const std::string& problem) {
    if (options_.json) std::fputs(kMember, out_);
    ShowProblem(problem);
    if (options_.json) std::fputs("}", out_);
  }

 private:
  void Begin(const TimelineHeader& header) {
    if (options_.json) {
      std::fputs(kMember, out_);
      if (!header.title.empty()) {
        std::fprintf(out_, "\"title\":%s,", JsonText(header.title).c_str());
      }
      std::fputs("\"lines\":[", out_);
      has_members_ = true;
      return;
    }
    std::fprintf(out_, "\n%12s  %-10s  %20s  %s\n", "LINE", "EVENT", "TIME", "SPEAKER TIMELINE");
    const std::string title = header.title.empty() ? "" : " title=" + Shown(header.title);
    if (options_.from_us == DumpOptions().from_us) {
      std::fprintf(out_, "%12" PRIu64 "  %-10s  %20s  version=%u%s\n", line_, "-", "-",
                   header.version, title.c_str());
    }
  }

  void ShowProblem(const std::string& problem) {
    if (options_.json) {
      std::fprintf(out_, "%s\"problem\":%s", has_members_ ? "," : "", JsonText(problem).c_str());
    } else {
      std::fprintf(out_, "\nspeaker timeline: %s\n", Shown(problem).c_str());
    }
  }

  bool IsAskedFor() const { return time_us_ >= options_.from_us && time_us_ <= options_.to_us; }

  std::string Shown(const std::string& text) const {
    return options_.show_text == nullptr ? text : options_.show_text(text);
  }

  std::string PayloadText(const TimelineEntry& entry) const {
    switch (entry.kind) {
      case Kind::kStart:
        return "utc=" + UtcText(entry.utc_us);
      case Kind::kJoined:
        return Text("user=%u name=", entry.user_id) + Shown(entry.name);
      case Kind::kLeft:
        return Text("user=%u", entry.user_id);
      case Kind::kSelected:
        return Text("ssrc=%u user=%u media_type=%u (%s)", entry.ssrc, entry.user_id,
                    entry.media_type, MediaTypeText(entry.media_type).c_str());
      case Kind::kVoice:
        return Text("user=%u %s", entry.user_id, entry.on ? "on" : "off");
      case Kind::kStop:
        break;
    }
    return "";
  }

  void ShowEntry(const TimelineEntry& entry) {
    if (options_.json) return ShowRow(TimelineEventName(entry.kind), true, "", EntryElement(entry));
    ShowRow(TimelineEventName(entry.kind), true, PayloadText(entry), Json::Value());
  }

  // `text` or `element` has what the event tells.
  void ShowRow(const char* event, bool has_time, const std::string& text, Json::Value element) {
    if (!options_.json) {
      std::fprintf(out_, "%12" PRIu64 "  %-10s  %20s  %s\n", line_, event,
                   has_time ? SecondsText(time_us_).c_str() : "-", text.c_str());
      return;
    }
    element["line"] = Json::Value::UInt64{line_};
    element["event"] = event;
    if (has_time) element["time_us"] = Json::Value::Int64{time_us_};
    std::fprintf(out_, "%s\n%s", has_elements_ ? "," : "", JsonText(element).c_str());
    has_elements_ = true;
  }

  const DumpOptions& options_;
  std::FILE* out_;
  uint64_t line_ = 1;
  int64_t time_us_ = DumpOptions().from_us;  // Of the latest line that has one.
  bool has_members_ = false;
  bool has_elements_ = false;
};

}  // namespace

void ListSpeakerTimeline(const std::string& folder, const DumpOptions& options, std::FILE* out) {
  TimelineReader reader;
  TimelineListing listing(options, out);
  if (reader.Open(folder)) {
    listing.Show(&reader);
  } else if (!reader.problem().empty()) {
    listing.ShowOnlyProblem(reader.problem());
  }
}

}  // namespace kxrtc_host
