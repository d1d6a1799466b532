#include "host/result/record_origin.h"

#include <json/writer.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "files/byte_digest.h"
#include "files/read_only_file.h"
#include "host/result/parsed_json.h"
#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/speakers/timeline_format.h"

namespace kxrtc_host {
namespace {

Json::Value Sizes(const ReadOnlyFile& file) {
  Json::Value value;
  value["bytes"] = Json::UInt64{file.size()};
  return value;
}

// Holes of the file are passed over: a size costs nobody anything, what is on the disk does.
Json::Value SizeAndDigest(ReadOnlyFile* file) {
  ByteDigest digest;
  for (uint64_t at = file->NextData(0); at < file->size();
       at = file->NextData(at + ReadOnlyFile::kWindowSize)) {
    const uint64_t bytes = std::min<uint64_t>(ReadOnlyFile::kWindowSize, file->size() - at);
    const uint8_t* const piece = file->View(at, bytes);
    if (piece == nullptr) break;  // The record changes, and so will the text.
    digest.Add(piece, bytes);
  }
  Json::Value value = Sizes(*file);
  value["digest"] = Text("%016llx", static_cast<unsigned long long>(digest.value()));
  return value;
}

const Json::Value& Member(const Json::Value& object, const char* name) {
  return object.isObject() ? object[name] : Json::Value::nullSingleton();
}

}  // namespace

std::string RecordOrigin(const std::string& folder, const Json::Value& options) {
  RecordFiles files;
  files.Open(folder);
  ReadOnlyFile timeline;
  (void)timeline.Open(folder + kSpeakerTimelineFileName);
  Json::Value origin;
  origin["output_format"] = kMp4OutputFormat;
  origin["options"] = options;
  Json::Value& record = origin["record"];
  if (files.index.is_open()) record["index"] = SizeAndDigest(&files.index);
  if (files.descriptor.is_open()) record["descriptor"] = SizeAndDigest(&files.descriptor);
  if (timeline.is_open()) record["timeline"] = SizeAndDigest(&timeline);
  if (files.video.is_open()) record["video"] = Sizes(files.video);
  if (files.audio.is_open()) record["audio"] = Sizes(files.audio);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, origin);
}

bool IsOriginOfSizes(const std::string& text, const GlancedSizes& sizes) {
  const Json::Value origin = ParsedJson(text);
  if (Member(origin, "output_format") != Json::Value(kMp4OutputFormat)) return false;
  const Json::Value& record = Member(origin, "record");
  using NamedSize = std::pair<const char*, std::optional<uint64_t>>;
  for (const auto& [name, size] :
       {NamedSize{"index", sizes.index}, NamedSize{"descriptor", sizes.descriptor},
        NamedSize{"timeline", sizes.timeline}, NamedSize{"video", sizes.video},
        NamedSize{"audio", sizes.audio}}) {
    const Json::Value& bytes = Member(Member(record, name), "bytes");
    if (size ? !bytes.isUInt64() || bytes.asUInt64() != *size : !bytes.isNull()) return false;
  }
  return true;
}

}  // namespace kxrtc_host
