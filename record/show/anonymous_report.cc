#include "record/show/anonymous_report.h"

#include <json/value.h>

#include <cstdint>

#include "record/speakers/person_names.h"
#include "record/speakers/timeline_format.h"

namespace kxrtc_host {
namespace {

void RemoveAll(const std::string& part, std::string* text) {
  if (part.empty()) return;
  for (size_t at = text->find(part); at != std::string::npos; at = text->find(part, at)) {
    text->erase(at, part.size());
  }
}

void RemovePath(const std::string& folder, Json::Value* value) {
  if (value->isString()) {
    std::string text = value->asString();
    RemoveAll(folder, &text);
    *value = text;
  } else if (value->isArray() || value->isObject()) {
    for (Json::Value& member : *value) RemovePath(folder, &member);
  }
}

void RemoveNames(Json::Value* people) {
  people->removeMember("title");
  people->removeMember("started");
  if (people->isMember("problem")) {
    (*people)["problem"] = std::string(kSpeakerTimelineFileName) + " cannot be read";
    return;
  }
  uint64_t number = 0;
  for (Json::Value& person : (*people)["people"]) {
    person["name"] = AnonymousPerson(++number);
  }
}

}  // namespace

void MakeAnonymous(const std::string& folder, Json::Value* document) {
  Json::Value& value = *document;
  value["anonymous"] = true;
  value["folder"] = "";
  value["video_url"] = "";
  value["filmstrip"] = Json::Value(Json::arrayValue);
  if (!value["speakers"].isNull()) RemoveNames(&value["speakers"]);
  RemovePath(folder, &value);
}

}  // namespace kxrtc_host
