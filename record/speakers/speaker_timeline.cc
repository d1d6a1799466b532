#include "record/speakers/speaker_timeline.h"

#include <algorithm>
#include <map>

#include "kxrtc/recording/replay_rules.h"
#include "record/speakers/person_names.h"
#include "record/speakers/speaker_follower.h"
#include "record/speakers/timeline_reader.h"

namespace kxrtc_host {
namespace {

using Kind = TimelineEntry::Kind;

// Adds up the entries. Times are those of a clock that stands still between sessions.
class People final : public TurnObserver {
 public:
  explicit People(SpeakerTimeline* timeline) : timeline_(timeline), follower_(this) {}

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
      case Kind::kSelected:
        if (entry.user_id != 0 && entry.ssrc != 0) Find(entry.user_id);
        break;
      case Kind::kVoice:
        if (entry.on) Find(entry.user_id);
        break;
      case Kind::kLeft:
        break;
    }
    follower_.Take(entry, clock_us_);
  }

  void Finish(int64_t end_us) {
    Advance(end_us);
    follower_.Finish(clock_us_);
  }

  void OnHeard(const SpeakerTurn& turn) override {
    Person* const person = Find(turn.user_id);
    if (person == nullptr) return;
    Add(turn, &person->heard_us);
    ++person->turns;
  }

  void OnSeen(const SpeakerTurn& turn) override {
    if (turn.user_id == 0 || turn.media_type == 0) return;
    if (Person* const person = Find(turn.user_id)) Add(turn, &person->seen_us);
  }

 private:
  void Advance(int64_t time_us) {
    if (runs_ && time_us > latest_us_) {
      clock_us_ = kxrtc::SaturatedAdd(clock_us_, kxrtc::SaturatedSubtract(time_us, latest_us_));
    }
    // A session begins where it says; a step back within one is two threads' order.
    latest_us_ = runs_ ? std::max(latest_us_, time_us) : time_us;
  }

  static void Add(const SpeakerTurn& turn, int64_t* total_us) {
    *total_us = kxrtc::SaturatedAdd(*total_us, turn.end_us - turn.start_us);
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
    people.back().name = UnnamedPerson(user_id);
    return &people.back();
  }

  SpeakerTimeline* timeline_;
  SpeakerFollower follower_;
  std::map<uint32_t, size_t> places_;
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
