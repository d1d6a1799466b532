#include "kxrtc/recording/speaker_record_descriptor_document.h"

#include <json/json.h>

#include <algorithm>
#include <new>
#include <utility>

namespace kxrtc {
namespace {

// How the array of sessions opens and closes in styled text; the elements stand between the two,
// joined by kSessionSeparator.
constexpr char kSessionsOpening[] = "\n\t[\n";
constexpr char kSessionsClosing[] = "\n\t]";
constexpr char kSessionSeparator[] = ",\n";

Json::Value Document(const SpeakerRecordOverall& overall, const SpeakerRecordSession* sessions,
                     size_t count) {
  Json::Value list;  // Stays null without a session.
  for (size_t i = 0; i < count; ++i) {
    SpeakerRecordSessionToJson(sessions[i], &list.append(Json::Value()));
  }
  Json::Value root;
  SpeakerRecordOverallToJson(overall, &root[descriptor_key::kOverall]);
  root[descriptor_key::kSessions] = std::move(list);
  return root;
}

// The text is made by way of a stream, which drops its rest without a word when memory runs out.
// No name in a descriptor has a brace.
std::string Styled(const Json::Value& value) {
  std::string text = value.toStyledString();
  const auto opened = std::count(text.begin(), text.end(), '{');
  if (opened == 0 || opened != std::count(text.begin(), text.end(), '}')) throw std::bad_alloc();
  return text;
}

// Where the elements of the array begin; npos where the text has another style.
size_t FindSessions(const std::string& document) {
  const size_t opening = document.find(kSessionsOpening);
  return opening == std::string::npos ? opening : opening + sizeof(kSessionsOpening) - 1;
}

}  // namespace

void SpeakerRecordOverallToJson(const SpeakerRecordOverall& overall, Json::Value* object) {
  (*object)[descriptor_key::kSessionCount] = Json::Value::UInt{overall.record_session_count};
  (*object)[descriptor_key::kContainVideo] = Json::Value::UInt{overall.contain_video};
  (*object)[descriptor_key::kContainDesktop] = Json::Value::UInt{overall.contain_desktop};
  (*object)[descriptor_key::kAudioChannelCount] = Json::Value::UInt{overall.audio_channel_count};
}

void SpeakerRecordSessionToJson(const SpeakerRecordSession& session, Json::Value* object) {
  using Json::Value;
  (*object)[descriptor_key::kStartTimestamp] = Value::Int64{session.sessoin_start_timestamp_us};
  (*object)[descriptor_key::kEndTimestamp] = Value::Int64{session.sessoin_end_timestamp_us};
  (*object)[descriptor_key::kVideoFrameCount] = Value::UInt64{session.session_video_frame_count};
  (*object)[descriptor_key::kAudioFrameCount] = Value::UInt64{session.session_audio_frame_count};
  (*object)[descriptor_key::kVideoSwitchCount] = Value::UInt{session.session_video_switch_count};
}

std::string RenderSpeakerRecordDesc(const SpeakerRecordOverall& overall,
                                    const std::vector<SpeakerRecordSession>& sessions) {
  return Styled(Document(overall, sessions.data(), sessions.size()));
}

SpeakerRecordDescText::SpeakerRecordDescText() : SpeakerRecordDescText(&Styled) {}

void SpeakerRecordDescText::Reset() { *this = SpeakerRecordDescText(style_); }

std::string SpeakerRecordDescText::Render(const SpeakerRecordOverall& overall,
                                          const std::vector<SpeakerRecordSession>& sessions) {
  const bool has_earlier = sessions.size() > 1;
  std::string spliced;
  if (has_earlier && way_ != Way::kWhole && !Splice(overall, sessions, &spliced))
    way_ = Way::kWhole;
  if (has_earlier && way_ == Way::kSplice) return spliced;
  std::string whole = style_(Document(overall, sessions.data(), sessions.size()));
  if (has_earlier && way_ == Way::kUnproven) way_ = spliced == whole ? Way::kSplice : Way::kWhole;
  return whole;
}

// The document of the last session alone, with the kept text before that session.
bool SpeakerRecordDescText::Splice(const SpeakerRecordOverall& overall,
                                   const std::vector<SpeakerRecordSession>& sessions,
                                   std::string* document) {
  if (!KeepEarlierSessions(sessions)) return false;
  *document = style_(Document(overall, &sessions.back(), 1));
  const size_t begin = FindSessions(*document);
  if (begin == std::string::npos) return false;
  document->insert(begin, earlier_text_);
  return true;
}

bool SpeakerRecordDescText::KeepEarlierSessions(const std::vector<SpeakerRecordSession>& sessions) {
  for (; earlier_count_ + 1 < sessions.size(); ++earlier_count_) {
    std::string document = style_(Document({}, &sessions[earlier_count_], 1));
    const size_t begin = FindSessions(document);
    if (begin == std::string::npos) return false;
    const size_t end = document.find(kSessionsClosing, begin);
    if (end == std::string::npos) return false;
    document.replace(end, std::string::npos, kSessionSeparator);
    earlier_text_.append(document, begin, std::string::npos);  // Whole or, without memory, not.
  }
  return true;
}

}  // namespace kxrtc
