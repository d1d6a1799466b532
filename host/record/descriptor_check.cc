#include "host/record/descriptor_check.h"

#include <json/json.h>

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "host/record/text.h"
#include "host/shared/adts.h"
#include "kx_utility/json_accessors.h"
#include "kxrtc/recording/speaker_record_descriptor.h"

namespace kxrtc_host {
namespace {

constexpr char kOverallKey[] = "speaker_record_overall";
constexpr char kAudioChannelsKey[] = "audio_channel_count";
constexpr char kSessionsKey[] = "speaker_record_session";
// The recorder may raise a time by one when it writes the index record.
constexpr uint64_t kTimeTolerance = 1;

unsigned long long Ull(uint64_t value) { return value; }

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
constexpr size_t kByteOrderMarkSize = sizeof(kByteOrderMark) - 1;

// The text ends at the first zero byte, as it does for the library's reader.
bool ReadText(const RecordFile& file, std::string* text, std::string* problem) {
  text->resize(static_cast<size_t>(file.size()));
  if (file.Read(0, &(*text)[0], text->size()) != text->size()) {
    *problem = "the descriptor became shorter while it was read";
    return false;
  }
  text->resize(std::min(text->size(), text->find('\0')));
  return true;
}

// The class that the library's reader uses: the newer one takes more, e.g. a comma behind the last
// member.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool ParseObject(const char* begin, const char* end, Json::Value* root, std::string* problem) {
  try {
    Json::Reader reader;
    if (reader.parse(begin, end, *root, true)) {
      if (root->isObject()) return true;
      *problem = "it is no object";
    } else {
      *problem = reader.getFormattedErrorMessages();
    }
  } catch (const std::exception& error) {  // Thrown at values nested too deep.
    *problem = error.what();
  }
  return false;
}
#pragma GCC diagnostic pop

bool HasByteOrderMark(const std::string& text) {
  return text.compare(0, kByteOrderMarkSize, kByteOrderMark) == 0;
}

bool ParseDocument(const RecordFile& file, Json::Value* root, std::string* problem) {
  std::string text;
  if (!ReadText(file, &text, problem)) return false;
  if (HasByteOrderMark(text)) {
    *problem = "it begins with a byte order mark";
    return false;
  }
  return ParseObject(text.data(), text.data() + text.size(), root, problem);
}

class Comparison {
 public:
  Comparison(const Json::Value& root, RecordSummary* summary) : root_(root), summary_(summary) {}

  void Run() {
    const Json::Value& overall = root_[kOverallKey];
    if (!overall.isObject()) return Missing(kOverallKey);
    DescriptorSummary& found = summary_->descriptor;
    uint32_t channels = 0;
    // Each missing member is told.
    const bool has_sessions = GetUInt(overall, "record_session_count", &found.session_count);
    const bool has_video = GetUInt(overall, "contain_video", &found.contain_video);
    const bool has_desktop = GetUInt(overall, "contain_desktop", &found.contain_desktop);
    const bool has_counts = has_sessions && has_video && has_desktop;
    const bool has_channels = GetUInt(overall, kAudioChannelsKey, &channels);
    if (has_channels) found.audio_channel_count = channels;
    found.parsed = has_counts && has_channels;
    if (has_counts) CompareOverall();
    CompareSessions();
  }

 private:
  void Missing(const char* key) {
    summary_->findings.Add(FindingCode::kDescriptorMember, std::nullopt,
                           Text("the descriptor has no valid member \"%s\"", key));
  }

  // The library decides what a member may be: it takes more for some than for others.
  bool GetUInt(const Json::Value& object, const char* key, uint32_t* out) {
    return Check(kx_utility::GetUIntFromJsonObject(object, key, out), key);
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
    if (!root_.isMember(kSessionsKey)) return Missing(kSessionsKey);
    // Null is what the recorder writes for no sessions; it counts as an empty array.
    const Json::Value& sessions = root_[kSessionsKey];
    if (!sessions.isArray() && !sessions.isNull()) return Missing(kSessionsKey);
    if (summary_->descriptor.parsed && sessions.size() != summary_->descriptor.session_count) {
      summary_->findings.Add(FindingCode::kDescriptorSessionCount, std::nullopt,
                             Text("the descriptor counts %u sessions and lists %u",
                                  summary_->descriptor.session_count, sessions.size()));
    }
    for (Json::ArrayIndex i = 0; i < sessions.size(); ++i) CompareSession(sessions[i], i);
  }

  void CompareSession(const Json::Value& value, Json::ArrayIndex i) {
    const char* const start = "sessoin_start_timestamp_us";  // sic
    const char* const end = "sessoin_end_timestamp_us";      // sic
    const char* const video_frames = "session_video_frame_count";
    const char* const audio_frames = "session_audio_frame_count";
    const char* const switches = "session_video_switch_count";
    kxrtc::SpeakerRecordSession found;
    // Each missing member is told.
    bool valid = GetInt64(value, start, &found.sessoin_start_timestamp_us);
    valid = GetInt64(value, end, &found.sessoin_end_timestamp_us) && valid;
    valid = GetUInt64(value, video_frames, &found.session_video_frame_count) && valid;
    valid = GetUInt64(value, audio_frames, &found.session_audio_frame_count) && valid;
    valid = GetUInt(value, switches, &found.session_video_switch_count) && valid;
    if (!valid || i >= summary_->sessions.size()) return;
    const SessionSummary& session = summary_->sessions[i];
    CompareTime(i, start, found.sessoin_start_timestamp_us, session.start_us, session);
    CompareTime(i, end, found.sessoin_end_timestamp_us, session.end_us, session);
    CompareCount(i, video_frames, found.session_video_frame_count, session.video_frames, session);
    CompareCount(i, audio_frames, found.session_audio_frame_count, session.audio_frames, session);
    CompareCount(i, switches, found.session_video_switch_count, session.switches, session);
  }

  bool GetInt64(const Json::Value& object, const char* key, int64_t* out) {
    return Check(kxrtc::GetInt64FromJsonObject(object, key, out), key);
  }

  bool GetUInt64(const Json::Value& object, const char* key, uint64_t* out) {
    return Check(kxrtc::GetUInt64FromJsonObject(object, key, out), key);
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
  return std::min<uint64_t>(
      kxrtc::kMaxDescriptorSize,
      kOverallBytes + kSessionBytes * std::min<uint64_t>(sessions, kMaxSessions));
}

void CheckDescriptor(const RecordFile& file, RecordSummary* summary) {
  if (!file.is_open()) return;
  if (file.size() > kxrtc::kMaxDescriptorSize) {
    summary->findings.Add(FindingCode::kDescriptorUnparsable, std::nullopt,
                          Text("the descriptor has %llu bytes; at most %llu are read",
                               Ull(file.size()), Ull(kxrtc::kMaxDescriptorSize)));
    return;
  }
  if (file.size() > MaxDescriptorSize(summary->session_count)) {
    summary->findings.Add(
        FindingCode::kDescriptorTooLarge, std::nullopt,
        Text("%llu bytes are too many for the sessions of this record; they are not looked at",
             Ull(file.size())));
    return;
  }
  Json::Value root;
  std::string problem;
  if (ParseDocument(file, &root, &problem)) return Comparison(root, summary).Run();
  std::replace(problem.begin(), problem.end(), '\n', ' ');
  summary->findings.Add(FindingCode::kDescriptorUnparsable, std::nullopt,
                        "the descriptor is no JSON document: " + problem);
}

std::optional<AudioChannelMember> ReadAudioChannelMember(const RecordFile& file,
                                                         uint64_t sessions) {
  if (!file.is_open() || file.size() > MaxDescriptorSize(sessions)) return std::nullopt;
  std::string text;
  std::string problem;
  if (!ReadText(file, &text, &problem)) return std::nullopt;
  const size_t start = HasByteOrderMark(text) ? kByteOrderMarkSize : 0;
  Json::Value root;
  const char* end = text.data() + text.size();
  if (!ParseObject(text.data() + start, end, &root, &problem)) return std::nullopt;
  const Json::Value& overall = std::as_const(root)[kOverallKey];
  if (!overall.isObject() || !overall.isMember(kAudioChannelsKey)) return std::nullopt;
  AudioChannelMember member;
  member.offset = start + static_cast<uint64_t>(overall[kAudioChannelsKey].getOffsetStart());
  uint32_t count = 0;
  if (kx_utility::GetUIntFromJsonObject(overall, kAudioChannelsKey, &count) &&
      IsAacChannelCount(count)) {
    member.count = count;
  }
  return member;
}

}  // namespace kxrtc_host
