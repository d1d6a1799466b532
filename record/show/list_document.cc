#include "record/show/list_document.h"

#include <json/value.h>

#include <cstdint>
#include <optional>

#include "record/show/record_documents.h"

namespace kxrtc_host {
namespace {

void AddSize(const char* name, const std::optional<uint64_t>& size, Json::Value* files) {
  if (size) (*files)[name] = Json::UInt64{*size};
}

}  // namespace

Json::Value ListDocument(const ArchivedRecord& record) {
  const RecordGlance& glance = record.glance;
  Json::Value document = Document("kxrtc.list");
  document["folder"] = record.folder;
  document["state"] = RecordStateName(glance.state);
  if (!glance.problem.empty()) document["problem"] = glance.problem;
  document["length_us"] = Json::Int64{glance.length_us};
  document["bytes"] = Json::UInt64{glance.sizes.Sum()};
  Json::Value& files = document["files"] = Json::Value(Json::objectValue);
  AddSize("index", glance.sizes.index, &files);
  AddSize("video", glance.sizes.video, &files);
  AddSize("audio", glance.sizes.audio, &files);
  AddSize("descriptor", glance.sizes.descriptor, &files);
  AddSize("speaker_timeline", glance.sizes.timeline, &files);
  if (!record.output.empty()) {
    document["output"] = record.output;
    document["due"] = record.is_due;
  }
  return document;
}

}  // namespace kxrtc_host
