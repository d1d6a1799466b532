#include "record/speakers/speaker_timeline.h"

#include <algorithm>
#include <map>

#include "kxrtc/recording/replay_rules.h"
#include "record/speakers/timeline_reader.h"

namespace kxrtc_host {
namespace {

using Kind = TimelineEntry::Kind;

// Adds up the entries. Times are differences of a clock that stands still between sessions.
class People {
 public:
  explicit People(SpeakerTimeline* timeline) : timeline_(timeline) {}

  void Take(const TimelineEntry& entry) {
    Advance(entry.time_us);
    switch (entry.kind) {
      case Kind::kStart:
        runs_ = true;
        if (timeline_->sessions.size() < SpeakerTimeline::kMaxSessions) {
          timeline_->sessions.push_back({entry.time_us, entry.utc_us});
        }
        break;
      case Kind::kStop:
        runs_ = false;
        break;
      case Kind::kJoined:
        if (Person* const person = Find(entry.user_id)) person->name = entry.name;
        break;
      case Kind::kLeft:
        EndTurn(entry.user_id);
        break;
      case Kind::kSelected:
        EndView();
        seen_user_ = entry.ssrc == 0 ? 0 : entry.user_id;
        break;
      case Kind::kVoice:
        if (entry.on) {
          BeginTurn(entry.user_id);
        } else {
          EndTurn(entry.user_id);
        }
        break;
    }
  }

  void Finish(int64_t end_us) {
    Advance(end_us);
    EndView();
    while (!turns_.empty()) EndTurn(turns_.begin()->first);
  }

 private:
  void Advance(int64_t time_us) {
    if (runs_ && time_us > latest_us_) {
      clock_us_ = kxrtc::SaturatedAdd(clock_us_, kxrtc::SaturatedSubtract(time_us, latest_us_));
    }
    // A session begins where it says; a step back within one is two threads' order.
    latest_us_ = runs_ ? std::max(latest_us_, time_us) : time_us;
  }

  void BeginTurn(uint32_t user_id) {
    Person* const person = Find(user_id);
    if (person != nullptr && turns_.emplace(user_id, clock_us_).second) ++person->turns;
  }

  void EndTurn(uint32_t user_id) {
    const auto turn = turns_.find(user_id);
    if (turn == turns_.end()) return;
    Add(clock_us_ - turn->second, &Find(user_id)->heard_us);
    turns_.erase(turn);
  }

  void EndView() {
    Person* const person = seen_user_ == 0 ? nullptr : Find(seen_user_);
    if (person != nullptr) Add(clock_us_ - seen_since_us_, &person->seen_us);
    seen_since_us_ = clock_us_;
  }

  static void Add(int64_t span_us, int64_t* total_us) {
    *total_us = kxrtc::SaturatedAdd(*total_us, span_us);
  }

  // Null when there are too many.
  Person* Find(uint32_t user_id) {
    const auto known = places_.find(user_id);
    std::vector<Person>& people = timeline_->people;
    if (known != places_.end()) return &people[known->second];
    if (people.size() >= SpeakerTimeline::kMaxPeople) return nullptr;
    places_[user_id] = people.size();
    people.emplace_back();
    people.back().user_id = user_id;
    people.back().name = "user " + std::to_string(user_id);
    return &people.back();
  }

  SpeakerTimeline* timeline_;
  std::map<uint32_t, size_t> places_;
  std::map<uint32_t, int64_t> turns_;  // By user, since when.
  uint32_t seen_user_ = 0;             // 0: nobody.
  int64_t seen_since_us_ = 0;
  bool runs_ = false;
  int64_t latest_us_ = 0;
  int64_t clock_us_ = 0;
};

}  // namespace

SpeakerTimeline ReadSpeakerTimeline(const std::string& folder, int64_t end_us) {
  SpeakerTimeline timeline;
  TimelineReader reader;
  const bool opened = reader.Open(folder);
  timeline.problem = reader.problem();
  timeline.exists = opened || !timeline.problem.empty();
  if (!opened) return timeline;
  timeline.title = reader.header().title;
  People people(&timeline);
  for (;;) {
    const TimelineReader::Step step = reader.Next();
    if (step == TimelineReader::Step::kEnd) break;
    if (step == TimelineReader::Step::kDamaged) ++timeline.damaged_lines;
    if (step == TimelineReader::Step::kEntry) people.Take(reader.entry());
  }
  people.Finish(end_us);
  return timeline;
}

}  // namespace kxrtc_host
