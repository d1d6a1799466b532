#include "host/scenario/scenario_reader.h"

#include <json/json.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <set>

#include "files/read_only_file.h"
#include "host/scenario/participant_state.h"
#include "host/scenario/source_access.h"
#include "record/index/record_text.h"
#include "record/speakers/timeline_format.h"
#include "record/speakers/utf8.h"

namespace kxrtc_host {
namespace {

constexpr size_t kMaxDocumentSize = 4 << 20;
constexpr unsigned kMaxParticipants = 256;
constexpr unsigned kMaxEvents = 10000;
constexpr double kMaxSeconds = 7 * 24 * 3600;
constexpr int kMaxNesting = 32;
constexpr double kMicrosecondsPerSecond = 1e6;

constexpr ScenarioAction kActions[] = {
    ScenarioAction::kJoin,      ScenarioAction::kLeave,   ScenarioAction::kCameraOn,
    ScenarioAction::kCameraOff, ScenarioAction::kShareOn, ScenarioAction::kShareOff,
    ScenarioAction::kMute,      ScenarioAction::kUnmute,
};

// Reads the document. After the first error every Read...() returns false.
class Reader {
 public:
  Reader(const std::string& text, const std::string& file_name)
      : text_(text), file_name_(file_name) {}

  bool Read(Scenario* scenario);
  const std::string& error() const { return error_; }

 private:
  using Value = Json::Value;

  bool ReadParticipant(const Value& value, const std::string& path,
                       ScenarioParticipant* participant);
  bool ReadMicrophone(const Value& value, const std::string& path,
                      ScenarioParticipant* participant);
  bool ReadMedia(const Value& value, const std::string& path, std::optional<MediaSpec>* media);
  bool ReadMediaMembers(const Value& value, const std::string& path, MediaSpec* media);
  bool ReadEvents(const Value& value, const std::string& path, ScenarioParticipant* participant);
  bool ReadEvent(const Value& value, const std::string& path, ScenarioEvent* event);

  bool CheckUsers(const Value& participants, const Scenario& scenario);
  bool CheckMembers(const Value& value, const std::string& path,
                    std::initializer_list<const char*> known);
  bool ReadText(const Value& value, const std::string& path, size_t limit, std::string* text);
  // A text for people.
  bool ReadName(const Value& value, const std::string& path, size_t limit, std::string* text);
  bool ReadFlag(const Value& value, const std::string& path, bool* flag);
  bool ReadSeconds(const Value& value, const std::string& path, int64_t* time_us);

  bool Error(const Value& value, const std::string& path, const std::string& problem);
  bool ErrorInLine(int64_t line, const std::string& problem);

  const std::string& text_;
  const std::string& file_name_;
  std::string error_;
};

bool Reader::ErrorInLine(int64_t line, const std::string& problem) {
  error_ = file_name_ + ":" + std::to_string(line) + ": " + problem;
  return false;
}

bool Reader::Error(const Value& value, const std::string& path, const std::string& problem) {
  const auto offset = std::clamp<ptrdiff_t>(value.getOffsetStart(), 0, text_.size());
  const auto line = 1 + std::count(text_.begin(), text_.begin() + offset, '\n');
  return ErrorInLine(line, path.empty() ? problem : path + ": " + problem);
}

bool Reader::CheckMembers(const Value& value, const std::string& path,
                          std::initializer_list<const char*> known) {
  if (!value.isObject()) return Error(value, path, "must be an object");
  const std::string prefix = path.empty() ? "" : path + ".";
  for (const std::string& name : value.getMemberNames()) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      return Error(value[name], prefix + name, "is not a known member");
    }
  }
  return true;
}

bool Reader::ReadText(const Value& value, const std::string& path, size_t limit,
                      std::string* text) {
  if (!value.isString()) return Error(value, path, "must be a string");
  std::string read = value.asString();
  if (read.empty() || read.find('\0') != std::string::npos) {
    return Error(value, path, "must not be empty or contain a zero character");
  }
  if (read.size() > limit) {
    return Error(value, path, "must not be longer than " + CountText(limit, "byte"));
  }
  *text = std::move(read);
  return true;
}

bool Reader::ReadName(const Value& value, const std::string& path, size_t limit,
                      std::string* text) {
  if (!ReadText(value, path, limit, text)) return false;
  return IsUtf8(*text) || Error(value, path, "must be UTF-8");
}

bool Reader::ReadFlag(const Value& value, const std::string& path, bool* flag) {
  if (!value.isBool()) return Error(value, path, "must be true or false");
  *flag = value.asBool();
  return true;
}

bool Reader::ReadSeconds(const Value& value, const std::string& path, int64_t* time_us) {
  const double seconds = value.isNumeric() ? value.asDouble() : -1;
  if (!(seconds >= 0 && seconds <= kMaxSeconds)) {
    return Error(value, path, "must be a number of seconds from 0 to 604800");
  }
  *time_us = std::llround(seconds * kMicrosecondsPerSecond);
  return true;
}

bool Reader::ReadMediaMembers(const Value& value, const std::string& path, MediaSpec* media) {
  if (!CheckMembers(value, path, {"source", "loop", "live", "format", "frame_rate"})) return false;
  if (!value.isMember("source")) return Error(value, path + ".source", "is missing");
  if (!ReadText(value["source"], path + ".source", 4096, &media->source)) return false;
  media->live = IsLiveByDefault(media->source);
  if (value.isMember("live") && !ReadFlag(value["live"], path + ".live", &media->live)) {
    return false;
  }
  if (value.isMember("format") &&
      !ReadText(value["format"], path + ".format", 64, &media->format)) {
    return false;
  }
  if (value.isMember("frame_rate")) {
    const Value& rate = value["frame_rate"];
    media->frame_rate = rate.isNumeric() ? rate.asDouble() : 0;
    if (!(media->frame_rate >= 1 && media->frame_rate <= 240)) {
      return Error(rate, path + ".frame_rate", "must be a number from 1 to 240");
    }
  }
  if (value.isMember("loop") && !ReadFlag(value["loop"], path + ".loop", &media->loop)) {
    return false;
  }
  if (media->loop && media->live) {
    return Error(value["loop"], path + ".loop", "a live source cannot loop");
  }
  return true;
}

bool Reader::ReadMedia(const Value& value, const std::string& path,
                       std::optional<MediaSpec>* media) {
  MediaSpec read;
  if (value.isString()) {
    if (!ReadText(value, path, 4096, &read.source)) return false;
    read.live = IsLiveByDefault(read.source);
  } else if (value.isObject()) {
    if (!ReadMediaMembers(value, path, &read)) return false;
  } else {
    return Error(value, path, "must be a source's path or an object with the member \"source\"");
  }
  const size_t slash = file_name_.rfind('/');
  if (slash != std::string::npos && read.source[0] != '/' && !IsAddress(read.source)) {
    read.source.insert(0, file_name_, 0, slash + 1);
  }
  SourceAccess access;
  std::string refused;
  if (!FindSourceAccess(read, &access, &refused)) return Error(value, path, refused);
  *media = std::move(read);
  return true;
}

bool Reader::ReadMicrophone(const Value& value, const std::string& path,
                            ScenarioParticipant* participant) {
  if (value.isBool()) {
    participant->microphone_from_camera = value.asBool();
    if (value.asBool() && !participant->camera) {
      return Error(value, path, "needs a source because there is no camera to take the sound from");
    }
    return true;
  }
  participant->microphone_from_camera = false;
  return ReadMedia(value, path, &participant->microphone);
}

bool Reader::ReadEvent(const Value& value, const std::string& path, ScenarioEvent* event) {
  if (!CheckMembers(value, path, {"at", "do"})) return false;
  if (!value.isMember("at")) return Error(value, path + ".at", "is missing");
  if (!ReadSeconds(value["at"], path + ".at", &event->at_us)) return false;
  const Value& name = value["do"];
  if (!value.isMember("do")) return Error(value, path + ".do", "is missing");
  if (!name.isString()) return Error(name, path + ".do", "must be a string");
  std::string all;
  for (ScenarioAction action : kActions) {
    if (name.asString() == ScenarioActionName(action)) {
      event->action = action;
      return true;
    }
    all += std::string(all.empty() ? "" : ", ") + ScenarioActionName(action);
  }
  return Error(name, path + ".do", "must be one of " + all);
}

bool Reader::ReadEvents(const Value& value, const std::string& path,
                        ScenarioParticipant* participant) {
  if (!value.isArray()) return Error(value, path, "must be an array");
  if (value.size() > kMaxEvents) return Error(value, path, "contains more than 10000 events");
  std::vector<ScenarioEvent>& events = participant->events;
  for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
    ScenarioEvent event;
    if (!ReadEvent(value[i], path + "[" + std::to_string(i) + "]", &event)) return false;
    events.push_back(event);
  }
  const bool joins = std::any_of(events.begin(), events.end(), [](const ScenarioEvent& event) {
    return event.action == ScenarioAction::kJoin;
  });
  const size_t implied = joins ? 0 : 1;
  if (!joins) events.insert(events.begin(), ScenarioEvent());

  ParticipantState state;
  for (size_t i = 0; i < events.size(); ++i) {
    const char* problem = state.Apply(*participant, events[i].action);
    if (i > 0 && events[i].at_us < events[i - 1].at_us) {
      const auto index = static_cast<Json::ArrayIndex>(i - implied);
      return Error(value[index]["at"], path + "[" + std::to_string(index) + "].at",
                   "must not be earlier than the event before it");
    }
    if (problem != nullptr) {
      const auto index = static_cast<Json::ArrayIndex>(i - implied);
      return Error(value[index]["do"], path + "[" + std::to_string(index) + "].do", problem);
    }
  }
  return true;
}

bool Reader::ReadParticipant(const Value& value, const std::string& path,
                             ScenarioParticipant* participant) {
  if (!CheckMembers(value, path,
                    {"user_id", "name", "local", "camera", "share", "microphone", "events"})) {
    return false;
  }
  const Value& user_id = value["user_id"];
  if (!value.isMember("user_id")) return Error(value, path + ".user_id", "is missing");
  if (!user_id.isUInt() || user_id.asUInt() == 0) {
    return Error(user_id, path + ".user_id", "must be a whole number from 1 to 4294967295");
  }
  participant->user_id = user_id.asUInt();
  participant->name = "user " + std::to_string(participant->user_id);
  if (value.isMember("name") &&
      !ReadName(value["name"], path + ".name", kMaxPersonNameBytes, &participant->name)) {
    return false;
  }
  if (value.isMember("local") && !ReadFlag(value["local"], path + ".local", &participant->local)) {
    return false;
  }
  if (value.isMember("camera") &&
      !ReadMedia(value["camera"], path + ".camera", &participant->camera)) {
    return false;
  }
  if (value.isMember("share") && !ReadMedia(value["share"], path + ".share", &participant->share)) {
    return false;
  }
  participant->microphone_from_camera = participant->camera.has_value();
  if (value.isMember("microphone") &&
      !ReadMicrophone(value["microphone"], path + ".microphone", participant)) {
    return false;
  }
  if (!participant->camera && !participant->share && !participant->microphone) {
    return Error(value, path, "needs a camera, a share or a microphone");
  }
  static const Value kNoEvents(Json::arrayValue);
  return ReadEvents(value.isMember("events") ? value["events"] : kNoEvents, path + ".events",
                    participant);
}

bool Reader::CheckUsers(const Value& participants, const Scenario& scenario) {
  std::set<uint32_t> users;
  bool has_local = false;
  for (Json::ArrayIndex i = 0; i < participants.size(); ++i) {
    const ScenarioParticipant& participant = scenario.participants[i];
    const std::string path = "participants[" + std::to_string(i) + "]";
    if (!users.insert(participant.user_id).second) {
      return Error(participants[i]["user_id"], path + ".user_id", "is used twice");
    }
    if (participant.local && has_local) {
      return Error(participants[i]["local"], path + ".local", "only one participant can be local");
    }
    has_local = has_local || participant.local;
  }
  return true;
}

bool Reader::Read(Scenario* scenario) {
  Json::CharReaderBuilder builder;
  builder["rejectDupKeys"] = true;
  builder["failIfExtra"] = true;
  builder["stackLimit"] = kMaxNesting;
  const std::unique_ptr<Json::CharReader> parser(builder.newCharReader());
  Value document;
  std::string problem;
  try {
    if (!parser->parse(text_.data(), text_.data() + text_.size(), &document, &problem)) {
      long line = 1;
      (void)sscanf(problem.c_str(), "* Line %ld", &line);  // 1 without such a text.
      const size_t begin = problem.find("\n  ");
      const size_t end = problem.find('\n', begin == std::string::npos ? 0 : begin + 1);
      if (begin != std::string::npos) problem = problem.substr(begin + 3, end - begin - 3);
      return ErrorInLine(line, "is not JSON: " + problem);
    }
  } catch (const Json::Exception& exception) {
    return ErrorInLine(1, std::string("is not JSON: ") + exception.what());
  }
  const Value& root = document;
  if (!CheckMembers(root, "", {"title", "duration", "participants"})) return false;
  Scenario read;
  if (root.isMember("title") && !ReadName(root["title"], "title", kMaxTitleBytes, &read.title)) {
    return false;
  }
  if (root.isMember("duration")) {
    int64_t duration_us = 0;
    if (!ReadSeconds(root["duration"], "duration", &duration_us)) return false;
    if (duration_us == 0) return Error(root["duration"], "duration", "must be more than 0");
    read.duration_us = duration_us;
  }
  const Value& participants = root["participants"];
  if (!root.isMember("participants")) return Error(root, "participants", "is missing");
  if (!participants.isArray()) return Error(participants, "participants", "must be an array");
  if (participants.empty()) {
    return Error(participants, "participants", "a conference needs at least one participant");
  }
  if (participants.size() > kMaxParticipants) {
    return Error(participants, "participants", "contains more than 256 participants");
  }
  read.participants.resize(participants.size());
  for (Json::ArrayIndex i = 0; i < participants.size(); ++i) {
    const std::string path = "participants[" + std::to_string(i) + "]";
    if (!ReadParticipant(participants[i], path, &read.participants[i])) return false;
  }
  if (!CheckUsers(participants, read)) return false;
  *scenario = std::move(read);
  return true;
}

}  // namespace

const char* ScenarioActionName(ScenarioAction action) {
  switch (action) {
    case ScenarioAction::kJoin:
      return "join";
    case ScenarioAction::kLeave:
      return "leave";
    case ScenarioAction::kCameraOn:
      return "camera_on";
    case ScenarioAction::kCameraOff:
      return "camera_off";
    case ScenarioAction::kShareOn:
      return "share_on";
    case ScenarioAction::kShareOff:
      return "share_off";
    case ScenarioAction::kMute:
      return "mute";
    case ScenarioAction::kUnmute:
      return "unmute";
  }
  return "";
}

bool ParseScenario(const std::string& text, const std::string& file_name, Scenario* scenario,
                   std::string* error) {
  Reader reader(text, file_name);
  if (reader.Read(scenario)) return true;
  *error = reader.error();
  return false;
}

bool LoadScenario(const std::string& path, Scenario* scenario, std::string* error) {
  ReadOnlyFile file;
  if (file.Open(path) != ReadOnlyFile::State::kOpen) {
    *error = path + ": cannot be read: " + file.error();
    return false;
  }
  if (file.size() > kMaxDocumentSize) {
    *error = path + ": is larger than 4 MiB";
    return false;
  }
  std::string text(file.size(), '\0');
  if (file.Read(0, &text[0], text.size()) != text.size()) {
    *error = path + ": cannot be read to its end";
    return false;
  }
  return ParseScenario(text, path, scenario, error);
}

}  // namespace kxrtc_host
