#include "record/bundle/bundle_documents.h"

#include <json/value.h>

#include "record/index/record_files.h"
#include "record/show/record_documents.h"

namespace kxrtc_host {
namespace {

// Replaces the path of the folder in all texts of `*value`.
void ReplaceFolder(const std::string& folder, Json::Value* value) {
  if (value->isArray() || value->isObject()) {
    for (Json::Value& member : *value) ReplaceFolder(folder, &member);
  }
  if (!value->isString()) return;
  std::string text = value->asString();
  constexpr size_t kNewSize = sizeof(kBundledRecordFolder) - 1;
  for (size_t at = text.find(folder); at != text.npos; at = text.find(folder, at + kNewSize)) {
    text.replace(at, folder.size(), kBundledRecordFolder);
  }
  *value = text;
}

}  // namespace

std::string BundledVerifyDocument(const BundleInput& input) {
  Json::Value document = VerifyDocument(*input.summary, input.preview);
  const std::string folder = RecordFolderPath(input.folder);
  if (!folder.empty()) ReplaceFolder(folder, &document);
  return JsonText(document) + '\n';
}

}  // namespace kxrtc_host
