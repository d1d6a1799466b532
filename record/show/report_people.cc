#include "record/show/report_people.h"

#include <json/value.h>

#include <map>
#include <vector>

#include "record/speakers/person_names.h"
#include "record/speakers/talk_share.h"
#include "record/speakers/timeline_entry.h"
#include "record/speakers/utf8.h"
#include "record/timing/file_timeline.h"

namespace kxrtc_host {
namespace {

Json::Value I64(int64_t value) { return Json::Value(Json::Value::Int64{value}); }

Json::Value PersonList(const std::vector<Person>& people) {
  const PersonNames names(people);
  const std::vector<double> shares = TalkShares(people);
  Json::Value list(Json::arrayValue);
  for (size_t i = 0; i < people.size(); ++i) {
    Json::Value person;
    person["name"] = names.NameOf(people[i].user_id);
    person["heard_us"] = I64(people[i].heard_us);
    person["heard_percent"] = shares[i];
    person["seen_us"] = I64(people[i].seen_us);
    person["turns"] = Json::Value(Json::Value::UInt64{people[i].turns});
    list.append(person);
  }
  return list;
}

// Places in the list of people, by user.
std::map<uint32_t, size_t> PlacesOf(const std::vector<Person>& people) {
  std::map<uint32_t, size_t> places;
  for (size_t i = 0; i < people.size(); ++i) places[people[i].user_id] = i;
  return places;
}

// The turns of listed people as arrays: start, end, place of the person, media type. Stores their
// number in `*count`.
Json::Value TurnList(const std::vector<SpeakerTurn>& turns,
                     const std::map<uint32_t, size_t>& places, int64_t start_us,
                     Json::Value* count) {
  Json::Value list(Json::arrayValue);
  uint64_t number = 0;
  for (const SpeakerTurn& turn : turns) {
    const auto place = places.find(turn.user_id);
    if (place == places.end() || ++number > kMaxReportTurns) continue;
    Json::Value element(Json::arrayValue);
    element.append(I64(FileTimeOf(turn.start_us, start_us)));
    element.append(I64(FileTimeOf(turn.end_us, start_us)));
    element.append(Json::Value(Json::Value::UInt64{place->second}));
    element.append(turn.media_type);
    list.append(element);
  }
  *count = Json::Value(Json::Value::UInt64{number});
  return list;
}

}  // namespace

Json::Value PeopleValue(const SpeakerTurns& turns, int64_t start_us) {
  const SpeakerTimeline& timeline = turns.timeline;
  if (!timeline.exists) return Json::Value();
  Json::Value value;
  if (!timeline.problem.empty()) {
    value["problem"] = timeline.problem;
    return value;
  }
  value["title"] = OneLine(timeline.title);
  if (!timeline.sessions.empty()) value["started"] = UtcText(timeline.sessions.front().utc_us);
  value["damaged_lines"] = Json::Value(Json::Value::UInt64{timeline.damaged_lines});
  value["people"] = PersonList(timeline.people);
  const std::map<uint32_t, size_t> places = PlacesOf(timeline.people);
  value["heard"] = TurnList(turns.heard, places, start_us, &value["heard_count"]);
  std::vector<SpeakerTurn> seen;
  for (const SpeakerTurn& turn : turns.seen) {
    if (turn.media_type != 0) seen.push_back(turn);
  }
  value["seen"] = TurnList(seen, places, start_us, &value["seen_count"]);
  return value;
}

}  // namespace kxrtc_host
