#include "record/show/record_dump.h"

#include <json/value.h>

#include <cinttypes>

#include "files/read_only_file.h"
#include "record/index/index_walker.h"
#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/show/record_documents.h"
#include "record/show/timeline_listing.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

std::string PayloadText(const IndexRecord& record) {
  switch (record.header.type) {
    case kxrtc::kNewChannel:
      return Text("media_type=%u (%s)", record.channel.media_type,
                  MediaTypeText(record.channel.media_type).c_str());
    case kxrtc::kNewVideoAttributes:
      return Text("%ux%u rotation=%d", record.attributes.width, record.attributes.height,
                  record.attributes.rotation_angle);
    case kxrtc::kVideoData:
    case kxrtc::kAudioData:
      return Text("position=%" PRIu64 " size=%u", record.data.start_position, record.data.size);
    default:
      return "";
  }
}

// True for a type in the range of record types that no record has.
bool IsUnknownRecordType(uint32_t type) {
  constexpr uint32_t kFamily = kxrtc::kStartRecording & 0xFFFFFF00;
  uint32_t payload_size = 0;
  return (type & 0xFFFFFF00) == kFamily && !kxrtc::GetRecordPayloadSize(type, &payload_size);
}

// Bytes that are not a record.
struct BrokenBytes {
  const char* kind = "";
  uint32_t type = 0;
  uint64_t offset = 0;
  uint64_t bytes = 0;
};

class Listing {
 public:
  Listing(const DumpOptions& options, std::FILE* out) : options_(options), out_(out) {}

  void Begin() {
    if (options_.json) {
      std::fputs("{\"document\":\"kxrtc.dump\",\"records\":[", out_);
    } else {
      std::fprintf(out_, "%12s  %-10s  %20s  %s\n", "OFFSET", "TYPE", "TIME", "PAYLOAD");
    }
  }

  void Add(const IndexRecord& record) {
    const int64_t time_us = record.header.record_timestamp_us;
    if (!has_records_ && time_us >= options_.from_us) ShowHead();
    has_records_ = true;
    last_time_us_ = time_us;
    if (!IsAskedFor(time_us)) return;
    if (options_.json) return AddJson(RecordElement(record));
    std::fprintf(out_, "%12" PRIu64 "  %-10s  %20s  %s\n", record.offset,
                 RecordTypeName(record.header.type), SecondsText(time_us).c_str(),
                 PayloadText(record).c_str());
  }

  void AddBroken(const BrokenBytes& broken) {
    if (!has_records_) {
      head_ = broken;
    } else if (IsAskedFor(last_time_us_)) {
      Show(broken);
    }
  }

  void EndRecords() {
    if (!has_records_ && options_.from_us == DumpOptions().from_us) ShowHead();
    if (options_.json) std::fputs("\n]", out_);
  }

  void End(bool whole) {
    if (!options_.json) return;
    std::fprintf(out_, ",\"version\":%d,\"whole\":%s}\n", kDocumentVersion,
                 whole ? "true" : "false");
  }

 private:
  bool IsAskedFor(int64_t time_us) const {
    return time_us >= options_.from_us && time_us <= options_.to_us;
  }

  void ShowHead() {
    if (head_.bytes > 0) Show(head_);
  }

  void Show(const BrokenBytes& broken) {
    if (options_.json) {
      Json::Value value;
      value["offset"] = Json::Value::UInt64{broken.offset};
      value["type"] = broken.kind;
      value["bytes"] = Json::Value::UInt64{broken.bytes};
      if (IsUnknownRecordType(broken.type)) value["type_code"] = broken.type;
      return AddJson(value);
    }
    std::fprintf(out_, "%12" PRIu64 "  %-10s  %20s  %s%s\n", broken.offset, broken.kind, "-",
                 CountText(broken.bytes, "byte").c_str(),
                 IsUnknownRecordType(broken.type) ? Text(" type=0x%08X", broken.type).c_str() : "");
  }

  void AddJson(const Json::Value& value) {
    std::fprintf(out_, "%s\n%s", has_elements_ ? "," : "", JsonText(value).c_str());
    has_elements_ = true;
  }

  const DumpOptions& options_;
  std::FILE* out_;
  bool has_elements_ = false;
  bool has_records_ = false;
  int64_t last_time_us_ = 0;  // Of the last record, shown or not.
  BrokenBytes head_;          // Bytes before the first record; 0: none.
};

}  // namespace

DumpResult DumpRecord(const std::string& folder, const DumpOptions& options, std::FILE* out) {
  DumpResult result;
  ReadOnlyFile index;
  const std::string folder_path = RecordFolderPath(folder);
  const std::string path = kxrtc::SpeakerRecordFilePath(folder_path, kxrtc::kIndexFileExtension);
  if (index.Open(path) != ReadOnlyFile::State::kOpen) {
    result.error = path + ": " + index.error();
    return result;
  }
  result.readable = result.whole = true;
  Listing listing(options, out);
  listing.Begin();
  IndexWalker walker(&index);
  IndexRecord record;
  IndexWalker::Step step = IndexWalker::Step::kEnd;
  // A listing that nobody can read ends early.
  while (std::ferror(out) == 0 && (step = walker.Next(&record)) != IndexWalker::Step::kEnd) {
    if (step == IndexWalker::Step::kRecord) {
      listing.Add(record);
      continue;
    }
    result.whole = false;
    if (step == IndexWalker::Step::kChanged) break;
    listing.AddBroken({step == IndexWalker::Step::kGarbage ? "garbage" : "truncated",
                       record.header.type, record.offset, walker.skipped_bytes()});
  }
  listing.EndRecords();
  ListSpeakerTimeline(folder_path, options, out);
  listing.End(result.whole);
  return result;
}

}  // namespace kxrtc_host
