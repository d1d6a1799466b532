#include "record/check/descriptor_check.h"

#include <json/json.h>

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "kx_utility/json_accessors.h"
#include "kxrtc/recording/peer_connection_conductor.h"
#include "kxrtc/recording/replay_rules.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/check/adts.h"
#include "record/check/read_failure.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

namespace keys = kxrtc::descriptor_key;

// The recorder may raise a time by one when it writes the index record.
constexpr uint64_t kTimeTolerance = 1;

// Of one session: a larger count is damaged, and sums of such counts do not overflow.
constexpr uint64_t kMaxDescribedFrames = uint64_t{1} << 32;

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
constexpr size_t kByteOrderMarkSize = sizeof(kByteOrderMark) - 1;

// The text ends at the first zero byte, as it does for the library's reader.
bool ReadText(const ReadOnlyFile& file, std::string* text) {
  text->resize(static_cast<size_t>(file.size()));
  if (file.Read(0, &(*text)[0], text->size()) != text->size()) return false;
  text->resize(std::min(text->size(), text->find('\0')));
  return true;
}

// "* Line 1, Column 2\n  Missing '}'\n..." becomes "line 1, column 2: missing '}'".
std::string FirstProblem(const std::string& messages) {
  unsigned line = 0;
  unsigned column = 0;
  const size_t begin = messages.find("\n  ");
  const int found = std::sscanf(messages.c_str(), "* Line %u, Column %u", &line, &column);
  if (found != 2 || begin == std::string::npos) return messages;
  std::string text = messages.substr(begin + 3, messages.find('\n', begin + 1) - begin - 3);
  if (!text.empty()) text[0] = static_cast<char>(std::tolower(text[0]));
  return Text("line %u, column %u: ", line, column) +
         text.substr(0, text.find_last_not_of(" .") + 1);
}

// The class that the library's reader uses: the newer one accepts more, e.g. a comma after the last
// member.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool ParseObject(const char* begin, const char* end, Json::Value* root, std::string* problem) {
  try {
    Json::Reader reader;
    if (reader.parse(begin, end, *root, true)) {
      if (root->isObject()) return true;
      *problem = "it is not an object";
    } else {
      *problem = FirstProblem(reader.getFormattedErrorMessages());
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

bool ParseDocument(const std::string& text, Json::Value* root, std::string* problem) {
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
    const Json::Value& overall = root_[keys::kOverall];
    if (!overall.isObject()) return Missing(keys::kOverall);
    DescriptorSummary& found = summary_->descriptor;
    uint32_t channels = 0;
    // Reports every missing member.
    const bool has_sessions = GetUInt(overall, keys::kSessionCount, &found.session_count);
    const bool has_video = GetUInt(overall, keys::kContainVideo, &found.contain_video);
    const bool has_desktop = GetUInt(overall, keys::kContainDesktop, &found.contain_desktop);
    const bool has_counts = has_sessions && has_video && has_desktop;
    const bool has_channels = GetUInt(overall, keys::kAudioChannelCount, &channels);
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

  // The library decides which values a member may have.
  bool GetUInt(const Json::Value& object, const char* key, uint32_t* out) {
    return Check(kx_utility::GetUIntFromJsonObject(object, key, out), key);
  }

  void CompareOverall() {
    const DescriptorSummary& found = summary_->descriptor;
    if (found.session_count != summary_->session_count) {
      Mismatch(std::nullopt,
               Text("the descriptor counts %s, the index contains %" PRIu64,
                    CountText(found.session_count, "session").c_str(), summary_->session_count));
    }
    const auto desktop = summary_->channels.find(kxrtc::PeerConnectionConductor::kDesktop);
    CompareFlag(keys::kContainVideo, found.contain_video, summary_->totals.video_frames > 0);
    CompareFlag(keys::kContainDesktop, found.contain_desktop,
                desktop != summary_->channels.end() && desktop->second.switches > 0);
    if (summary_->audio.is_adts && summary_->audio.channels != 0 && found.audio_channel_count &&
        summary_->audio.channels != *found.audio_channel_count) {
      summary_->findings.Add(FindingCode::kDescriptorAudioChannels, std::nullopt,
                             Text("the descriptor says %s, the audio frames have %u",
                                  CountText(*found.audio_channel_count, "audio channel").c_str(),
                                  summary_->audio.channels));
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
    if (!root_.isMember(keys::kSessions)) return Missing(keys::kSessions);
    // The recorder writes null when there are no sessions; it counts as an empty array.
    const Json::Value& sessions = root_[keys::kSessions];
    if (!sessions.isArray() && !sessions.isNull()) return Missing(keys::kSessions);
    if (summary_->descriptor.parsed && sessions.size() != summary_->descriptor.session_count) {
      summary_->findings.Add(
          FindingCode::kDescriptorSessionCount, std::nullopt,
          Text("the descriptor counts %s and lists %u",
               CountText(summary_->descriptor.session_count, "session").c_str(), sessions.size()));
    }
    for (Json::ArrayIndex i = 0; i < sessions.size(); ++i) CompareSession(sessions[i], i);
  }

  void CompareSession(const Json::Value& value, Json::ArrayIndex i) {
    kxrtc::SpeakerRecordSession found;
    // Reports every missing member.
    bool valid = GetInt64(value, keys::kStartTimestamp, &found.sessoin_start_timestamp_us);
    valid = GetInt64(value, keys::kEndTimestamp, &found.sessoin_end_timestamp_us) && valid;
    valid = GetUInt64(value, keys::kVideoFrameCount, &found.session_video_frame_count) && valid;
    valid = GetUInt64(value, keys::kAudioFrameCount, &found.session_audio_frame_count) && valid;
    valid = GetUInt(value, keys::kVideoSwitchCount, &found.session_video_switch_count) && valid;
    if (!valid || i >= summary_->sessions.size()) return;
    const SessionSummary& session = summary_->sessions[i];
    CompareTime(i, keys::kStartTimestamp, found.sessoin_start_timestamp_us, session.start_us,
                session);
    CompareTime(i, keys::kEndTimestamp, found.sessoin_end_timestamp_us, session.end_us, session);
    CompareCount(i, keys::kVideoFrameCount, found.session_video_frame_count, session.video_frames,
                 session);
    CompareCount(i, keys::kAudioFrameCount, found.session_audio_frame_count, session.audio_frames,
                 session);
    CompareCount(i, keys::kVideoSwitchCount, found.session_video_switch_count, session.switches,
                 session);
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
    Mismatch(session.start_us, Text("session %u: \"%s\" is %" PRId64 ", the index says %" PRId64, i,
                                    key, value, expected));
  }

  void CompareCount(unsigned i, const char* key, uint64_t value, uint64_t expected,
                    const SessionSummary& session) {
    if (value == expected) return;
    Mismatch(session.start_us, Text("session %u: \"%s\" is %" PRIu64 ", the index says %" PRIu64, i,
                                    key, value, expected));
  }

  const Json::Value& root_;
  RecordSummary* summary_;
};

std::optional<AudioChannelMember> ReadAudioChannels(const Json::Value& root) {
  const Json::Value& overall = root[keys::kOverall];
  if (!overall.isObject() || !overall.isMember(keys::kAudioChannelCount)) return std::nullopt;
  AudioChannelMember member;
  member.offset = static_cast<uint64_t>(overall[keys::kAudioChannelCount].getOffsetStart());
  uint32_t count = 0;
  if (kx_utility::GetUIntFromJsonObject(overall, keys::kAudioChannelCount, &count) &&
      IsAacChannelCount(count)) {
    member.count = count;
  }
  return member;
}

std::optional<DescribedMedia> SumUpSessions(const Json::Value& root) {
  const Json::Value& sessions = root[keys::kSessions];
  if (!sessions.isArray()) return std::nullopt;
  DescribedMedia sums;
  for (const Json::Value& session : sessions) {
    uint64_t video_frames = 0;
    uint64_t audio_frames = 0;
    int64_t start_us = 0;
    int64_t end_us = 0;
    (void)kxrtc::GetUInt64FromJsonObject(session, keys::kVideoFrameCount, &video_frames);
    (void)kxrtc::GetUInt64FromJsonObject(session, keys::kAudioFrameCount, &audio_frames);
    const bool has_times =
        kxrtc::GetInt64FromJsonObject(session, keys::kStartTimestamp, &start_us) &&
        kxrtc::GetInt64FromJsonObject(session, keys::kEndTimestamp, &end_us);
    sums.video_frames += std::min(video_frames, kMaxDescribedFrames);
    sums.audio_frames += std::min(audio_frames, kMaxDescribedFrames);
    if (!has_times || end_us < start_us) continue;
    sums.duration_us =
        kxrtc::SaturatedAdd(sums.duration_us, kxrtc::SaturatedSubtract(end_us, start_us));
  }
  return sums;
}

}  // namespace

uint64_t MaxDescriptorSize(uint64_t sessions) {
  constexpr uint64_t kOverallBytes = 65536;
  constexpr uint64_t kSessionBytes = 512;
  return kOverallBytes + kSessionBytes * sessions;
}

void CheckDescriptor(const ReadOnlyFile& file, RecordSummary* summary) {
  if (!file.is_open()) return;
  if (file.size() > MaxDescriptorSize(summary->session_count)) {
    summary->findings.Add(
        FindingCode::kDescriptorTooLarge, std::nullopt,
        Text("%" PRIu64
             " bytes are too many for the sessions of this record; the descriptor is not read",
             file.size()));
    return;
  }
  std::string text;
  if (!ReadText(file, &text)) {
    return ReportReadFailure(file, "the descriptor", std::nullopt, &summary->findings);
  }
  Json::Value root;
  std::string problem;
  if (ParseDocument(text, &root, &problem)) return Comparison(root, summary).Run();
  std::replace(problem.begin(), problem.end(), '\n', ' ');
  summary->findings.Add(FindingCode::kDescriptorUnparsable, std::nullopt,
                        "the descriptor is not a JSON document: " + problem);
}

DescriptorRemains ReadDescriptorRemains(const ReadOnlyFile& file, uint64_t sessions) {
  if (!file.is_open() || file.size() > MaxDescriptorSize(sessions)) return {};
  std::string text;
  std::string problem;
  if (!ReadText(file, &text)) return {};
  const size_t start = HasByteOrderMark(text) ? kByteOrderMarkSize : 0;
  Json::Value root;
  const char* end = text.data() + text.size();
  if (!ParseObject(text.data() + start, end, &root, &problem)) return {};
  DescriptorRemains remains;
  remains.audio_channels = ReadAudioChannels(root);
  if (remains.audio_channels) remains.audio_channels->offset += start;
  remains.media = SumUpSessions(root);
  return remains;
}

}  // namespace kxrtc_host
