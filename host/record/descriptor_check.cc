#include "host/record/descriptor_check.h"

#include <json/json.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string>

#include "host/record/text.h"

namespace kxrtc_host {
namespace {

constexpr char kOverallKey[] = "speaker_record_overall";
constexpr char kSessionsKey[] = "speaker_record_session";
// The recorder may raise a time by one when it writes the index record.
constexpr uint64_t kTimeTolerance = 1;

unsigned long long Ull(uint64_t value) { return value; }

bool ParseDocument(const RecordFile& file, Json::Value* root, std::string* problem) {
  std::string text(static_cast<size_t>(file.size()), '\0');
  if (file.Read(0, &text[0], text.size()) != text.size()) {
    *problem = "the descriptor became shorter while it was read";
    return false;
  }
  try {
    // Throws on documents that nest too deeply.
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (reader->parse(text.data(), text.data() + text.size(), root, problem)) {
      if (root->isObject()) return true;
      *problem = "it is no object";
    }
  } catch (const std::exception& error) {
    *problem = error.what();
  }
  return false;
}

class Comparison {
 public:
  Comparison(const Json::Value& root, RecordSummary* summary) : root_(root), summary_(summary) {}

  void Run() {
    const Json::Value& overall = Member(root_, kOverallKey);
    if (!overall.isObject()) return Missing(kOverallKey);
    DescriptorSummary& found = summary_->descriptor;
    uint32_t channels = 0;
    // Each missing member is told.
    const bool has_sessions = GetUInt(overall, "record_session_count", &found.session_count);
    const bool has_video = GetUInt(overall, "contain_video", &found.contain_video);
    const bool has_desktop = GetUInt(overall, "contain_desktop", &found.contain_desktop);
    const bool has_counts = has_sessions && has_video && has_desktop;
    const bool has_channels = GetUInt(overall, "audio_channel_count", &channels);
    if (has_channels) found.audio_channel_count = channels;
    found.parsed = has_counts && has_channels;
    if (has_counts) CompareOverall();
    CompareSessions();
  }

 private:
  static const Json::Value& Member(const Json::Value& object, const char* key) {
    return object.isObject() ? object[key] : Json::Value::nullSingleton();
  }

  void Missing(const char* key) {
    summary_->findings.Add(FindingCode::kDescriptorMember, std::nullopt,
                           Text("the descriptor has no valid member \"%s\"", key));
  }

  bool GetUInt(const Json::Value& object, const char* key, uint32_t* out) {
    const Json::Value& value = Member(object, key);
    if (!value.isUInt()) {
      Missing(key);
      return false;
    }
    *out = value.asUInt();
    return true;
  }

  void CompareOverall() {
    const DescriptorSummary& found = summary_->descriptor;
    if (found.session_count != summary_->session_count) {
      Mismatch(std::nullopt, Text("the descriptor counts %u sessions, the index holds %llu",
                                  found.session_count, Ull(summary_->session_count)));
    }
    const auto desktop = summary_->channels.find(3);
    CompareFlag("contain_video", found.contain_video, summary_->totals.video_frames > 0);
    CompareFlag("contain_desktop", found.contain_desktop,
                desktop != summary_->channels.end() && desktop->second.switches > 0);
    if (summary_->audio.is_adts && summary_->audio.channels != 0 && found.audio_channel_count &&
        summary_->audio.channels != *found.audio_channel_count) {
      summary_->findings.Add(FindingCode::kDescriptorAudioChannels, std::nullopt,
                             Text("the descriptor says %u audio channels, the audio frames have %u",
                                  *found.audio_channel_count, summary_->audio.channels));
    }
  }

  void CompareFlag(const char* key, uint32_t value, bool expected) {
    if ((value != 0) == expected) return;
    summary_->findings.Add(FindingCode::kDescriptorFlags, std::nullopt,
                           Text("\"%s\" is %u, the index says %d", key, value, expected ? 1 : 0));
  }

  void Mismatch(std::optional<int64_t> time_us, std::string text) {
    summary_->findings.Add(FindingCode::kDescriptorSessionMismatch, time_us, std::move(text));
  }

  void CompareSessions() {
    const Json::Value& sessions = Member(root_, kSessionsKey);
    if (sessions.isNull() && summary_->descriptor.session_count == 0) return;
    if (!sessions.isArray()) return Missing(kSessionsKey);
    if (summary_->descriptor.parsed && sessions.size() != summary_->descriptor.session_count) {
      summary_->findings.Add(FindingCode::kDescriptorSessionCount, std::nullopt,
                             Text("the descriptor counts %u sessions and lists %u",
                                  summary_->descriptor.session_count, sessions.size()));
    }
    for (Json::ArrayIndex i = 0; i < sessions.size(); ++i) CompareSession(sessions[i], i);
  }

  void CompareSession(const Json::Value& value, Json::ArrayIndex i) {
    const char* const times[] = {"sessoin_start_timestamp_us", "sessoin_end_timestamp_us"};  // sic
    const char* const counts[] = {"session_video_frame_count", "session_audio_frame_count"};
    const char* const switches = "session_video_switch_count";
    bool valid = true;
    for (const char* key : times) valid = Check(Member(value, key).isInt64(), key) && valid;
    for (const char* key : counts) valid = Check(Member(value, key).isUInt64(), key) && valid;
    valid = Check(Member(value, switches).isUInt(), switches) && valid;
    if (!valid || i >= summary_->sessions.size()) return;
    const SessionSummary& session = summary_->sessions[i];
    CompareTime(i, times[0], value[times[0]].asInt64(), session.start_us, session);
    CompareTime(i, times[1], value[times[1]].asInt64(), session.end_us, session);
    CompareCount(i, counts[0], value[counts[0]].asUInt64(), session.video_frames, session);
    CompareCount(i, counts[1], value[counts[1]].asUInt64(), session.audio_frames, session);
    CompareCount(i, switches, value[switches].asUInt(), session.switches, session);
  }

  bool Check(bool valid, const char* key) {
    if (!valid) Missing(key);
    return valid;
  }

  void CompareTime(unsigned i, const char* key, int64_t value, int64_t expected,
                   const SessionSummary& session) {
    const uint64_t distance = static_cast<uint64_t>(std::max(value, expected)) -
                              static_cast<uint64_t>(std::min(value, expected));
    if (distance <= kTimeTolerance) return;
    Mismatch(session.start_us,
             Text("session %u: \"%s\" is %lld, the index says %lld", i, key,
                  static_cast<long long>(value), static_cast<long long>(expected)));
  }

  void CompareCount(unsigned i, const char* key, uint64_t value, uint64_t expected,
                    const SessionSummary& session) {
    if (value == expected) return;
    Mismatch(session.start_us, Text("session %u: \"%s\" is %llu, the index says %llu", i, key,
                                    Ull(value), Ull(expected)));
  }

  const Json::Value& root_;
  RecordSummary* summary_;
};

}  // namespace

uint64_t MaxDescriptorSize(uint64_t sessions) {
  constexpr uint64_t kOverallBytes = 65536;
  constexpr uint64_t kSessionBytes = 512;
  return kOverallBytes + kSessionBytes * std::min<uint64_t>(sessions, kMaxSessions);
}

void CheckDescriptor(const RecordFile& file, RecordSummary* summary) {
  if (!file.is_open()) return;
  if (file.size() > MaxDescriptorSize(summary->session_count)) {
    summary->findings.Add(
        FindingCode::kDescriptorTooLarge, std::nullopt,
        Text("%llu bytes are too many for the sessions of this record", Ull(file.size())));
    return;
  }
  Json::Value root;
  std::string problem;
  if (ParseDocument(file, &root, &problem)) return Comparison(root, summary).Run();
  std::replace(problem.begin(), problem.end(), '\n', ' ');
  summary->findings.Add(FindingCode::kDescriptorUnparsable, std::nullopt,
                        "the descriptor is no JSON document: " + problem);
}

std::optional<uint32_t> ReadAudioChannelCount(const RecordFile& file, uint64_t sessions) {
  if (!file.is_open() || file.size() > MaxDescriptorSize(sessions)) return std::nullopt;
  Json::Value root;
  std::string problem;
  if (!ParseDocument(file, &root, &problem)) return std::nullopt;
  const Json::Value& overall = root[kOverallKey];
  if (!overall.isObject() || !overall["audio_channel_count"].isUInt()) return std::nullopt;
  return overall["audio_channel_count"].asUInt();
}

}  // namespace kxrtc_host
