// A speaker timeline: the reader gives each whole line once, what it accepts can be written again,
// and a torn last line or an event of a later writer changes nothing of what is told.
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <string_view>

#include "fuzz/fuzz_folder.h"
#include "fuzz/fuzz_input.h"
#include "record/speakers/speaker_timeline.h"
#include "record/speakers/timeline_entry.h"
#include "record/speakers/timeline_reader.h"

namespace {

using kx_fuzz::Check;
using kxrtc_host::SpeakerTimeline;
using kxrtc_host::TimelineEntry;
using kxrtc_host::TimelineHeader;
using kxrtc_host::TimelineLineKind;
using kxrtc_host::TimelineReader;
using Kind = TimelineEntry::Kind;
using Step = TimelineReader::Step;

constexpr int64_t kLatestUs = std::numeric_limits<int64_t>::max();

// A line without its newline.
std::string_view Content(std::string_view line) { return line.substr(0, line.size() - 1); }

template <typename Parse>
void CheckWritten(const std::string& line, const Parse& parse_and_write) {
  Check(line.size() <= kxrtc_host::kMaxTimelineLineBytes && line.find('\n') == line.size() - 1,
        "what is written is one line that can be read");
  Check(parse_and_write(Content(line)) == line, "what is written reads back");
}

void CheckHeader(const TimelineHeader& header) {
  Check(
      header.title.empty() || kxrtc_host::IsTimelineText(header.title, kxrtc_host::kMaxTitleBytes),
      "a title is text");
  CheckWritten(TimelineLine(header), [](std::string_view line) {
    TimelineHeader again;
    return ParseTimelineHeader(line, &again) ? TimelineLine(again) : std::string();
  });
}

void CheckEntry(const TimelineEntry& entry) {
  const bool has_user =
      entry.kind == Kind::kJoined || entry.kind == Kind::kLeft || entry.kind == Kind::kVoice;
  Check(!has_user || entry.user_id != 0, "an event is about somebody");
  Check(entry.kind != Kind::kJoined ||
            kxrtc_host::IsTimelineText(entry.name, kxrtc_host::kMaxPersonNameBytes),
        "a name is text");
  CheckWritten(TimelineLine(entry), [](std::string_view line) {
    TimelineEntry again;
    return ParseTimelineEntry(line, &again) == TimelineLineKind::kEntry ? TimelineLine(again)
                                                                        : std::string();
  });
}

// What the reader of `content` gives, compared with the lines that stand there.
struct Counts {
  uint64_t damaged = 0;
  uint64_t starts = 0;
};

Counts CheckSteps(const std::string& content, TimelineReader* reader) {
  Counts counts;
  const std::string_view text = content;
  for (size_t at = text.find('\n') + 1;;) {
    const size_t newline = text.find('\n', at);
    const Step step = reader->Next();
    Check((step == Step::kEnd) == (newline == text.npos), "each whole line is one step");
    if (step == Step::kEnd) return counts;
    const std::string_view line = text.substr(at, newline + 1 - at);
    if (line.size() <= kxrtc_host::kMaxTimelineLineBytes) {
      Check(reader->line() == line, "a step has its line");
    } else {
      Check(step == Step::kDamaged && reader->line().empty(), "a line that is too long is damaged");
    }
    if (step == Step::kEntry) {
      CheckEntry(reader->entry());
      counts.starts += reader->entry().kind == Kind::kStart ? 1 : 0;
    }
    counts.damaged += step == Step::kDamaged ? 1 : 0;
    at = newline + 1;
  }
}

void CheckPeople(const SpeakerTimeline& timeline) {
  std::set<uint32_t> users;
  for (const auto& person : timeline.people) {
    Check(person.user_id != 0 && users.insert(person.user_id).second, "each person is told once");
    Check(!person.name.empty(), "each person has a name");
    Check(person.heard_us >= 0 && person.seen_us >= 0, "time passes");
    Check(person.heard_us == 0 || person.turns > 0, "who is heard has begun to speak");
  }
}

void CheckEqual(const SpeakerTimeline& one, const SpeakerTimeline& other) {
  Check(one.problem == other.problem && one.title == other.title &&
            one.damaged_lines == other.damaged_lines &&
            one.sessions.size() == other.sessions.size() &&
            one.people.size() == other.people.size(),
        "the rest changes nothing");
  for (size_t i = 0; i < one.people.size(); ++i) {
    Check(one.people[i].name == other.people[i].name &&
              one.people[i].heard_us == other.people[i].heard_us &&
              one.people[i].seen_us == other.people[i].seen_us,
          "the rest changes nobody");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const kx_fuzz::FuzzFolder folder;
  const std::string content(reinterpret_cast<const char*>(data), size);
  const auto read = [](const std::string& text, int64_t end_us) {
    folder.Write(kxrtc_host::kSpeakerTimelineFileName, text);
    return kxrtc_host::ReadSpeakerTimeline(folder.path(), end_us);
  };
  const SpeakerTimeline timeline = read(content, kLatestUs);
  TimelineReader reader;
  const bool opened = reader.Open(folder.path());
  Check(timeline.exists && timeline.problem.empty() == opened, "a timeline or what is wrong");
  if (!opened) return 0;
  CheckHeader(reader.header());
  const Counts counts = CheckSteps(content, &reader);
  Check(timeline.damaged_lines == counts.damaged && timeline.sessions.size() == counts.starts,
        "the timeline has what the reader gives");
  CheckPeople(timeline);

  const std::string whole = content.substr(0, content.rfind('\n') + 1);
  CheckEqual(read(whole + "{\"event\":\"later\",\"us\":0}\n{\"event\":\"sta", kLatestUs), timeline);
  const SpeakerTimeline ended = read(content, 0);
  Check(ended.people.size() == timeline.people.size(), "the end changes times only");
  for (size_t i = 0; i < ended.people.size(); ++i) {
    Check(ended.people[i].heard_us <= timeline.people[i].heard_us &&
              ended.people[i].seen_us <= timeline.people[i].seen_us,
          "an early end adds nothing");
  }
  return 0;
}
