#include "tools/kxrtc/versions.h"

#include <json/version.h>

#include <CLI/Version.hpp>

#include "record/show/record_documents.h"

namespace kxrtc_tool {

Json::Value VersionsDocument(const kxrtc_host::Media* media) {
  Json::Value document = kxrtc_host::Document("kxrtc.versions");
  document["kxrtc"] = KXRTC_VERSION;
  Json::Value& libraries = document["libraries"];
  if (media != nullptr) {
    for (const auto& [name, version] : media->LibraryVersions()) libraries[name] = version;
  }
  libraries["CLI11"] = CLI11_VERSION;
  libraries["jsoncpp"] = JSONCPP_VERSION_STRING;
  return document;
}

}  // namespace kxrtc_tool
