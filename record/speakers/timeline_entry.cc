#include "record/speakers/timeline_entry.h"

#include <json/json.h>

#include <cstdio>
#include <ctime>
#include <iterator>
#include <memory>
#include <new>
#include <sstream>

#include "record/index/record_text.h"
#include "record/speakers/utf8.h"

namespace kxrtc_host {
namespace {

using Kind = TimelineEntry::Kind;

constexpr char kVersionKey[] = "speaker_timeline";
constexpr char kTitleKey[] = "title";
constexpr char kTimeKey[] = "us";
constexpr char kEventKey[] = "event";
constexpr char kUtcKey[] = "utc";
constexpr char kUserKey[] = "user_id";
constexpr char kNameKey[] = "name";
constexpr char kSsrcKey[] = "ssrc";
constexpr char kMediaTypeKey[] = "media_type";
constexpr char kOnKey[] = "on";
constexpr int kMaxNesting = 4;
constexpr int64_t kSecondUs = 1000000;

struct EventName {
  Kind kind;
  const char* name;
};

constexpr EventName kEvents[] = {
    {Kind::kStart, "start"}, {Kind::kStop, "stop"},         {Kind::kJoined, "joined"},
    {Kind::kLeft, "left"},   {Kind::kSelected, "selected"}, {Kind::kVoice, "voice"},
};

std::string LineOf(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  std::ostringstream line;
  const std::unique_ptr<Json::StreamWriter> writer(builder.newStreamWriter());
  writer->write(value, &line);
  line << '\n';
  if (!line.good()) throw std::bad_alloc();  // A stream keeps it to itself, and is cut short.
  return line.str();
}

// False if the line is not one JSON object.
bool ParseObject(std::string_view line, Json::Value* object) {
  if (line.size() >= kMaxTimelineLineBytes || !IsUtf8(line)) return false;
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kMaxNesting;
  const std::unique_ptr<Json::CharReader> parser(builder.newCharReader());
  try {
    std::string ignored;
    return parser->parse(line.data(), line.data() + line.size(), object, &ignored) &&
           object->isObject();
  } catch (const Json::Exception&) {  // Nested too deeply.
    return false;
  }
}

bool ReadNumber(const Json::Value& object, const char* key, uint32_t* number) {
  if (!object[key].isUInt()) return false;
  *number = object[key].asUInt();
  return true;
}

bool ReadUser(const Json::Value& object, uint32_t* user_id) {
  return ReadNumber(object, kUserKey, user_id) && *user_id != 0;
}

bool ReadMembers(const Json::Value& object, TimelineEntry* entry) {
  switch (entry->kind) {
    case Kind::kStart:
      return object[kUtcKey].isString() && ParseUtc(object[kUtcKey].asString(), &entry->utc_us);
    case Kind::kStop:
      return true;
    case Kind::kJoined:
      if (!ReadUser(object, &entry->user_id) || !object[kNameKey].isString()) return false;
      entry->name = object[kNameKey].asString();
      return IsTimelineText(entry->name, kMaxPersonNameBytes);
    case Kind::kLeft:
      return ReadUser(object, &entry->user_id);
    case Kind::kSelected:
      return ReadNumber(object, kSsrcKey, &entry->ssrc) &&
             ReadNumber(object, kUserKey, &entry->user_id) &&
             ReadNumber(object, kMediaTypeKey, &entry->media_type);
    case Kind::kVoice:
      if (!object[kOnKey].isBool()) return false;
      entry->on = object[kOnKey].asBool();
      return ReadUser(object, &entry->user_id);
  }
  return false;
}

}  // namespace

const char* TimelineEventName(Kind kind) {
  for (const EventName& event : kEvents) {
    if (event.kind == kind) return event.name;
  }
  return "";
}

bool IsTimelineText(std::string_view text, size_t max_bytes) {
  return !text.empty() && text.size() <= max_bytes && text.find('\0') == text.npos && IsUtf8(text);
}

std::string TimelineLine(const TimelineHeader& header) {
  Json::Value value;
  value[kVersionKey] = header.version;
  if (!header.title.empty()) value[kTitleKey] = header.title;
  return LineOf(value);
}

std::string TimelineLine(const TimelineEntry& entry) {
  Json::Value value;
  value[kTimeKey] = Json::Value::Int64{entry.time_us};
  value[kEventKey] = TimelineEventName(entry.kind);
  switch (entry.kind) {
    case Kind::kStart:
      value[kUtcKey] = UtcText(entry.utc_us);
      break;
    case Kind::kStop:
      break;
    case Kind::kJoined:
      value[kNameKey] = entry.name;
      [[fallthrough]];
    case Kind::kLeft:
      value[kUserKey] = entry.user_id;
      break;
    case Kind::kSelected:
      value[kSsrcKey] = entry.ssrc;
      value[kUserKey] = entry.user_id;
      value[kMediaTypeKey] = entry.media_type;
      break;
    case Kind::kVoice:
      value[kUserKey] = entry.user_id;
      value[kOnKey] = entry.on;
      break;
  }
  return LineOf(value);
}

bool ParseTimelineHeader(std::string_view line, TimelineHeader* header) {
  Json::Value object;
  if (!ParseObject(line, &object) || !ReadNumber(object, kVersionKey, &header->version)) {
    return false;
  }
  if (!object.isMember(kTitleKey)) return true;
  if (!object[kTitleKey].isString()) return false;
  header->title = object[kTitleKey].asString();
  return IsTimelineText(header->title, kMaxTitleBytes);
}

TimelineLineKind ParseTimelineEntry(std::string_view line, TimelineEntry* entry) {
  Json::Value object;
  if (!ParseObject(line, &object) || !object[kTimeKey].isInt64() || !object[kEventKey].isString()) {
    return TimelineLineKind::kDamaged;
  }
  entry->time_us = object[kTimeKey].asInt64();
  const std::string name = object[kEventKey].asString();
  for (const EventName& event : kEvents) {
    if (name != event.name) continue;
    entry->kind = event.kind;
    return ReadMembers(object, entry) ? TimelineLineKind::kEntry : TimelineLineKind::kDamaged;
  }
  return TimelineLineKind::kUnknown;
}

std::string UtcText(int64_t utc_us) {
  int64_t seconds = utc_us / kSecondUs;
  int64_t microseconds = utc_us % kSecondUs;
  if (microseconds < 0) {
    microseconds += kSecondUs;
    --seconds;
  }
  const auto time = static_cast<time_t>(seconds);
  std::tm parts = {};
  gmtime_r(&time, &parts);
  return Text("%04d-%02d-%02dT%02d:%02d:%02d.%06dZ", parts.tm_year + 1900, parts.tm_mon + 1,
              parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
              static_cast<int>(microseconds));
}

bool ParseUtc(const std::string& text, int64_t* utc_us) {
  std::tm parts = {};
  int microseconds = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%6dZ", &parts.tm_year, &parts.tm_mon,
                  &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec,
                  &microseconds) != 7) {
    return false;
  }
  parts.tm_year -= 1900;
  parts.tm_mon -= 1;
  const int64_t time_us = int64_t{timegm(&parts)} * kSecondUs + microseconds;
  if (UtcText(time_us) != text) return false;  // Not a date, or written in another way.
  *utc_us = time_us;
  return true;
}

}  // namespace kxrtc_host
