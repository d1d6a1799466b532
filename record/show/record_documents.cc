#include "record/show/record_documents.h"

#include <json/json.h>

#include "kxrtc/recording/peer_connection_conductor.h"
#include "record/index/record_text.h"
#include "record/speakers/timeline_entry.h"

namespace kxrtc_host {
namespace {

using kxrtc::PeerConnectionConductor;

Json::Value U64(uint64_t value) { return Json::Value(Json::Value::UInt64{value}); }
Json::Value I64(int64_t value) { return Json::Value(Json::Value::Int64{value}); }

Json::Value FilesValue(const FileSizes& sizes) {
  Json::Value value;
  value["index"] = U64(sizes.index);
  value["video"] = U64(sizes.video);
  value["audio"] = U64(sizes.audio);
  value["descriptor"] = U64(sizes.descriptor);
  return value;
}

Json::Value SessionValue(const SessionSummary& session) {
  Json::Value value;
  value["start_us"] = I64(session.start_us);
  value["end_us"] = I64(session.end_us);
  value["closed"] = session.closed;
  value["video_frames"] = U64(session.video_frames);
  value["audio_frames"] = U64(session.audio_frames);
  value["key_frames"] = U64(session.key_frames);
  value["video_bytes"] = U64(session.video_bytes);
  value["audio_bytes"] = U64(session.audio_bytes);
  value["switches"] = session.switches;
  return value;
}

Json::Value ChannelsValue(const RecordSummary& summary) {
  Json::Value list(Json::arrayValue);
  for (const auto& [media_type, totals] : summary.channels) {
    Json::Value value;
    value["media_type"] = media_type;
    value["switches"] = U64(totals.switches);
    value["duration_us"] = I64(totals.duration_us);
    value["video_frames"] = U64(totals.video_frames);
    value["video_bytes"] = U64(totals.video_bytes);
    list.append(value);
  }
  return list;
}

Json::Value FormatsValue(const RecordSummary& summary) {
  Json::Value list(Json::arrayValue);
  for (const auto& [format, count] : summary.video_formats) {
    Json::Value value;
    value["profile_idc"] = format.profile_idc;
    value["level_idc"] = format.level_idc;
    value["width"] = format.width;
    value["height"] = format.height;
    value["parameter_sets"] = U64(count);
    list.append(value);
  }
  return list;
}

Json::Value AudioValue(const RecordSummary& summary) {
  Json::Value value;
  value["adts"] = summary.audio.is_adts;
  value["mean_interval_us"] = I64(static_cast<int64_t>(summary.audio_interval_us + 0.5));
  if (summary.audio.is_adts) {
    value["object_type"] = summary.audio.object_type;
    value["sample_rate"] = summary.audio.sample_rate;
    value["channels"] = summary.audio.channels;
  }
  if (summary.descriptor.audio_channel_count) {
    value["descriptor_channels"] = *summary.descriptor.audio_channel_count;
  }
  return value;
}

Json::Value CountsValue(const FindingList& findings) {
  Json::Value value(Json::objectValue);
  for (size_t i = 0; i < kFindingCodeCount; ++i) {
    const auto code = static_cast<FindingCode>(i);
    if (findings.count(code) > 0) value[FindingCodeName(code)] = U64(findings.count(code));
  }
  return value;
}

void FillInfo(const RecordSummary& summary, Json::Value* document) {
  Json::Value& value = *document;
  value["folder"] = summary.folder;
  value["files"] = FilesValue(summary.sizes);
  value["index_records"] = U64(summary.index_records);
  value["duration_us"] = I64(summary.duration_us);
  value["recorded_us"] = I64(summary.recorded_us);
  value["estimated_mp4_bytes"] = U64(summary.estimate_bytes);
  value["finding_counts"] = CountsValue(summary.findings);
  value["session_count"] = U64(summary.session_count);
  value["sessions"] = Json::Value(Json::arrayValue);
  for (const SessionSummary& session : summary.sessions) {
    value["sessions"].append(SessionValue(session));
  }
  value["switch_count"] = U64(summary.switch_count);
  value["switches"] = Json::Value(Json::arrayValue);
  for (const ChannelSwitch& change : summary.switches) {
    Json::Value element;
    element["time_us"] = I64(change.time_us);
    element["media_type"] = change.media_type;
    value["switches"].append(element);
  }
  value["channels"] = ChannelsValue(summary);
  value["video_formats"] = FormatsValue(summary);
  value["audio"] = AudioValue(summary);
  value["video_frames"] = U64(summary.totals.video_frames);
  value["audio_frames"] = U64(summary.totals.audio_frames);
  value["key_frames"] = U64(summary.totals.key_frames);
}

Json::Value FindingsValue(const FindingList& findings) {
  Json::Value list(Json::arrayValue);
  for (const Finding& finding : findings.Sorted()) {
    Json::Value value;
    value["code"] = FindingCodeName(finding.code);
    value["severity"] = SeverityName(FindingCodeSeverity(finding.code));
    if (finding.time_us) value["time_us"] = I64(*finding.time_us);
    value["text"] = finding.text;
    list.append(value);
  }
  return list;
}

Json::Value ModeValue(const ModePrediction& mode) {
  Json::Value value;
  value["outcome"] = TranscodeKindName(mode.kind);
  if (!mode.text.empty()) value["text"] = mode.text;
  value["duration_us"] = I64(mode.contents.duration_us);
  value["video_samples"] = U64(mode.contents.video_samples);
  value["audio_frames"] = U64(mode.contents.audio_frames);
  return value;
}

Json::Value ReplayValue(const ReplayPrediction& replay) {
  Json::Value value;
  value["encode"] = ModeValue(replay.encode);
  value["copy"] = ModeValue(replay.copy);
  value["completes"] = replay.completes;
  if (!replay.completes) value["failure"] = replay.failure;
  if (!replay.refusal.empty()) value["refusal"] = replay.refusal;
  value["duration_us"] = I64(replay.duration_us);
  value["video_samples"] = U64(replay.video_samples);
  value["audio_samples"] = U64(replay.audio_samples);
  value["dropped_delta_frames"] = U64(replay.dropped_frames);
  value["largest_offset_us"] = I64(replay.largest_offset_us);
  value["filler_insertions"] = U64(replay.filler_insertions);
  value["filler_us"] = I64(replay.filler_us);
  value["still_share_us"] = I64(replay.still_share_us);
  value["filler_spans"] = Json::Value(Json::arrayValue);
  for (const OutputSpan& span : replay.spans) {
    if (span.filler == FillerReason::kNone) continue;
    Json::Value element;
    element["start_us"] = I64(span.start_us);
    element["end_us"] = I64(span.end_us);
    element["reason"] = FillerReasonName(span.filler);
    element["time_us"] = I64(span.time_us);
    value["filler_spans"].append(element);
  }
  return value;
}

void FillVerify(const RecordSummary& summary, Json::Value* document) {
  Json::Value& value = *document;
  const Severity verdict = summary.findings.Verdict();
  value["verdict"] = verdict == Severity::kInfo ? "clean" : SeverityName(verdict);
  value["sound_examined"] = summary.sound_examined;
  value["findings"] = FindingsValue(summary.findings);
  value["finding_counts"] = CountsValue(summary.findings);
  value["replay"] = ReplayValue(summary.replay);
}

// The timeline as arrays of numbers, which keeps the page small.
Json::Value TimelineValue(const ReplayPrediction& replay) {
  Json::Value value;
  value["duration_us"] = I64(replay.duration_us);
  value["span_count"] = U64(replay.span_count);
  value["spans"] = Json::Value(Json::arrayValue);
  for (const OutputSpan& span : replay.spans) {
    Json::Value element(Json::arrayValue);
    element.append(I64(span.start_us));
    element.append(I64(span.end_us));
    element.append(span.media_type);
    element.append(FillerReasonName(span.filler));
    element.append(I64(span.time_us));
    value["spans"].append(element);
  }
  const auto marks = [](const std::vector<OutputMark>& list) {
    Json::Value array(Json::arrayValue);
    for (const OutputMark& mark : list) {
      Json::Value element(Json::arrayValue);
      element.append(I64(mark.output_us));
      element.append(mark.media_type);
      element.append(I64(mark.time_us));
      array.append(element);
    }
    return array;
  };
  value["switches"] = marks(replay.switches);
  value["sessions"] = marks(replay.sessions);
  value["key_frame_count"] = U64(replay.key_frame_count);
  value["key_frames_us"] = Json::Value(Json::arrayValue);
  for (const int64_t time_us : replay.key_frames_us) value["key_frames_us"].append(I64(time_us));
  value["bucket_us"] = I64(replay.bucket_us);
  value["buckets"] = Json::Value(Json::arrayValue);
  for (const OutputBucket& bucket : replay.buckets) {
    Json::Value element(Json::arrayValue);
    element.append(U64(bucket.video_bytes));
    element.append(U64(bucket.audio_bytes));
    element.append(bucket.video_frames);
    element.append(bucket.key_frames);
    value["buckets"].append(element);
  }
  return value;
}

// What a repair keeps, or would keep.
void FillKept(const RepairResult& result, Json::Value* document) {
  Json::Value& value = *document;
  Json::Value& kept = value["kept"];
  kept["sessions"] = U64(result.sessions);
  kept["index_records"] = U64(result.kept.records);
  kept["video_frames"] = U64(result.kept.video_frames);
  kept["audio_frames"] = U64(result.kept.audio_frames);
  kept["video_bytes"] = U64(result.kept.video_end);
  kept["audio_bytes"] = U64(result.kept.audio_end);
  kept["recorded_us"] = I64(result.kept.recorded_us);
  value["recorded_us"] = I64(result.recorded_us);
  value["lost_video_frames"] = U64(result.lost_video_frames);
  value["lost_audio_frames"] = U64(result.lost_audio_frames);
  value["lost_count"] = U64(result.changes.lost);
  value["added_count"] = U64(result.changes.added);
  value["moved_count"] = U64(result.changes.moved);
}

Json::Value PayloadValue(const IndexRecord& record) {
  Json::Value value(Json::objectValue);
  switch (record.header.type) {
    case kxrtc::kNewChannel:
      value["media_type"] = record.channel.media_type;
      break;
    case kxrtc::kNewVideoAttributes:
      value["rotation_angle"] = record.attributes.rotation_angle;
      value["width"] = record.attributes.width;
      value["height"] = record.attributes.height;
      break;
    case kxrtc::kVideoData:
    case kxrtc::kAudioData:
      value["start_position"] = U64(record.data.start_position);
      value["size"] = record.data.size;
      break;
    default:
      break;
  }
  return value;
}

}  // namespace

Json::Value Document(const char* name) {
  Json::Value document;
  document["document"] = name;
  document["version"] = kDocumentVersion;
  return document;
}

Json::Value InfoDocument(const RecordSummary& summary) {
  Json::Value document = Document("kxrtc.info");
  FillInfo(summary, &document);
  return document;
}

void AddSpeakerTimeline(const SpeakerTimeline& timeline, Json::Value* document) {
  if (!timeline.exists) return;
  Json::Value& value = (*document)["speaker_timeline"];
  if (!timeline.problem.empty()) {
    value["problem"] = timeline.problem;
    return;
  }
  if (!timeline.title.empty()) value["title"] = timeline.title;
  value["damaged_lines"] = U64(timeline.damaged_lines);
  value["sessions"] = Json::Value(Json::arrayValue);
  for (const TimelineSession& session : timeline.sessions) {
    Json::Value element;
    element["start_us"] = I64(session.start_us);
    element["utc"] = UtcText(session.utc_us);
    value["sessions"].append(element);
  }
  value["people"] = Json::Value(Json::arrayValue);
  for (const Person& person : timeline.people) {
    Json::Value element;
    element["user_id"] = person.user_id;
    element["name"] = person.name;
    element["heard_us"] = I64(person.heard_us);
    element["seen_us"] = I64(person.seen_us);
    element["turns"] = U64(person.turns);
    value["people"].append(element);
  }
}

Json::Value VerifyDocument(const RecordSummary& summary,
                           const std::optional<RepairResult>& preview) {
  Json::Value document = Document("kxrtc.verify");
  document["folder"] = summary.folder;
  FillVerify(summary, &document);
  if (preview) {
    document["repair"]["possible"] = preview->repaired;
    FillKept(*preview, &document["repair"]);
  }
  return document;
}

Json::Value ReportDocument(const RecordSummary& summary, const std::string& video_url) {
  Json::Value document = Document("kxrtc.report");
  FillInfo(summary, &document);
  FillVerify(summary, &document);
  for (const uint32_t type : {PeerConnectionConductor::kNoVideo, PeerConnectionConductor::kCamera,
                              PeerConnectionConductor::kDesktop}) {
    document["media_types"][std::to_string(type)] = MediaTypeText(type);
  }
  document["timeline"] = TimelineValue(summary.replay);
  document["video_url"] = video_url;
  return document;
}

Json::Value RepairDocument(const RepairResult& result) {
  Json::Value document = Document("kxrtc.repair");
  document["repaired"] = result.repaired;
  if (!result.repaired) document["error"] = result.error;
  FillKept(result, &document);
  document["audio_channels"] = result.audio_channels;
  document["audio_channels_from"] = ChannelSourceName(result.channel_source);
  document["changes"] = Json::Value(Json::arrayValue);
  for (const RepairChange& change : result.changes.kept) {
    Json::Value element;
    element["kind"] = RepairChangeName(change.kind);
    element["count"] = U64(change.count);
    element["offset"] = U64(change.offset);
    if (change.time_us) element["time_us"] = I64(*change.time_us);
    element["text"] = change.text;
    document["changes"].append(element);
  }
  return document;
}

Json::Value RecordElement(const IndexRecord& record) {
  Json::Value value;
  value["offset"] = U64(record.offset);
  value["type"] = RecordTypeName(record.header.type);
  value["time_us"] = I64(record.header.record_timestamp_us);
  value["payload"] = PayloadValue(record);
  return value;
}

std::string JsonText(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  // Microseconds of a time in seconds, without the digits that only the binary form has.
  builder["precision"] = 6;
  builder["precisionType"] = "decimal";
  const std::string text = Json::writeString(builder, value);
  // The writer leaves this control character as it is.
  std::string escaped;
  for (const char c : text) {
    if (c == '\x7F') {
      escaped += "\\u007f";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

}  // namespace kxrtc_host
