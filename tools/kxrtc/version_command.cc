#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "record/show/record_documents.h"
#include "record/speakers/timeline_format.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/media_loader.h"
#include "tools/kxrtc/versions.h"

namespace kxrtc_tool {
namespace {

// The record itself carries no version: there is one format of it.
constexpr int kRecordFormat = 1;

Json::Value FullDocument(const kxrtc_host::Media* media) {
  Json::Value document = VersionsDocument(media);
  Json::Value& formats = document["formats"];
  formats["speaker_record"] = kRecordFormat;
  formats["speaker_timeline"] = kxrtc_host::kSpeakerTimelineVersion;
  formats["json_documents"] = kxrtc_host::kDocumentVersion;
  Json::Value& encoders = document["encoders"] = Json::arrayValue;
  if (media != nullptr) {
    for (const kxrtc_host::EncoderState& encoder : media->ListEncoders()) {
      if (encoder.opens) encoders.append(encoder.name);
    }
  }
  return document;
}

void PrintVersions(const Json::Value& document) {
  std::printf("kxrtc %s\n", document["kxrtc"].asCString());
  const Json::Value& formats = document["formats"];
  std::printf("formats: speaker record %d, speaker timeline %d, JSON documents %d\n",
              formats["speaker_record"].asInt(), formats["speaker_timeline"].asInt(),
              formats["json_documents"].asInt());
  const Json::Value& libraries = document["libraries"];
  for (const std::string& name : libraries.getMemberNames()) {
    std::printf("%s %s\n", name.c_str(), libraries[name].asCString());
  }
  if (!libraries.isMember("FFmpeg")) return;
  std::string encoders;
  for (const Json::Value& name : document["encoders"]) encoders += " " + name.asString();
  std::printf("H.264 encoders that open here:%s\n", encoders.empty() ? " none" : encoders.c_str());
}

ExitStatus Version(bool json) {
  std::string error;
  const kxrtc_host::Media* const media = LoadMedia(&error);
  const Json::Value document = FullDocument(media);
  if (json) {
    PrintJsonLine(document);
  } else {
    PrintVersions(document);
  }
  return media == nullptr ? Fail(kExitFailure, error) : kExitOk;
}

}  // namespace

void AddVersionCommand(CLI::App& app, PathOptions*, int* exit_status) {
  auto json = std::make_shared<bool>(false);
  CLI::App* command = app.add_subcommand(
      "version", "Tell the versions of kxrtc, its formats and its libraries, and the encoders");
  command->add_flag("-j,--json", *json, "Print a JSON document");
  command->footer("kxrtc --version prints the version of kxrtc alone, without loading FFmpeg.\n");
  command->callback([json, exit_status] { *exit_status = Version(*json); });
}

}  // namespace kxrtc_tool
