#include "kxrtc/recording/speaker_record_descriptor.h"

#include <json/json.h>

#include <exception>

#include "kx_utility/failure_log.h"
#include "kx_utility/fileutils.h"
#include "kx_utility/json_accessors.h"

namespace kxrtc {
namespace {

using kx_utility::CallSite;
using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::File;
using kx_utility::GetUIntFromJsonObject;
using kx_utility::GetValueFromJsonObject;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::LS_ERROR;

constexpr char kOverallKey[] = "speaker_record_overall";
constexpr char kSessionKey[] = "speaker_record_session";
constexpr char kRecordSessionCountKey[] = "record_session_count";
constexpr char kContainVideoKey[] = "contain_video";
constexpr char kContainDesktopKey[] = "contain_desktop";
constexpr char kAudioChannelCountKey[] = "audio_channel_count";
constexpr char kSessionStartKey[] = "sessoin_start_timestamp_us";  // sic
constexpr char kSessionEndKey[] = "sessoin_end_timestamp_us";      // sic
constexpr char kVideoFrameCountKey[] = "session_video_frame_count";
constexpr char kAudioFrameCountKey[] = "session_audio_frame_count";
constexpr char kVideoSwitchCountKey[] = "session_video_switch_count";

// How the array of sessions opens and closes in styled text; the elements stand between the two,
// joined by kSessionSeparator.
constexpr char kSessionsOpening[] = "\n\t[\n";
constexpr char kSessionsClosing[] = "\n\t]";
constexpr char kSessionSeparator[] = ",\n";

// The document with `session` as its only session; null: without any.
std::string StyledDocument(const SpeakerRecordOverall& overall,
                           const SpeakerRecordSession* session) {
  Json::Value sessions;  // Stays null without a session.
  if (session) {
    Json::Value element;
    SpeakerRecordSessionToJson(*session, &element);
    sessions.append(element);
  }
  Json::Value root;
  SpeakerRecordOverallToJson(overall, &root[kOverallKey]);
  root[kSessionKey] = sessions;
  return root.toStyledString();
}

// One element of the array of sessions, indented as it stands there.
std::string StyledSession(const SpeakerRecordSession& session) {
  const std::string document = StyledDocument({}, &session);
  const size_t begin = document.find(kSessionsOpening) + sizeof(kSessionsOpening) - 1;
  return document.substr(begin, document.find(kSessionsClosing, begin) - begin);
}

bool FailedToGet(const char* key, CallSite site = Here()) {
  LogFormatted(LS_ERROR, site, "failed to get %s", key);
  return false;
}

// Old name, old rules: comments are allowed and whatever follows the first value is ignored.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool ParseJson(const std::string& text, Json::Value* root) {
  try {
    Json::Reader reader;
    return reader.parse(text, *root, true);
  } catch (const std::exception&) {  // The JSON library throws at values nested too deep.
    return false;
  }
}
#pragma GCC diagnostic pop

}  // namespace

void SpeakerRecordOverallToJson(const SpeakerRecordOverall& overall, Json::Value* object) {
  (*object)[kRecordSessionCountKey] = Json::Value::UInt{overall.record_session_count};
  (*object)[kContainVideoKey] = Json::Value::UInt{overall.contain_video};
  (*object)[kContainDesktopKey] = Json::Value::UInt{overall.contain_desktop};
  (*object)[kAudioChannelCountKey] = Json::Value::UInt{overall.audio_channel_count};
}

void SpeakerRecordSessionToJson(const SpeakerRecordSession& session, Json::Value* object) {
  (*object)[kSessionStartKey] = Json::Value::Int64{session.sessoin_start_timestamp_us};
  (*object)[kSessionEndKey] = Json::Value::Int64{session.sessoin_end_timestamp_us};
  (*object)[kVideoFrameCountKey] = Json::Value::UInt64{session.session_video_frame_count};
  (*object)[kAudioFrameCountKey] = Json::Value::UInt64{session.session_audio_frame_count};
  (*object)[kVideoSwitchCountKey] = Json::Value::UInt{session.session_video_switch_count};
}

bool GetInt64FromJsonObject(const Json::Value& object, const std::string& key, int64_t* out) {
  if (!object.isObject()) return false;
  const Json::Value& value = object[key];
  if (value.type() == Json::realValue || !value.isInt64()) return false;
  *out = value.asInt64();
  return true;
}

bool GetUInt64FromJsonObject(const Json::Value& object, const std::string& key, uint64_t* out) {
  if (!object.isObject()) return false;
  const Json::Value& value = object[key];
  if (value.type() == Json::realValue || !value.isUInt64()) return false;
  *out = value.asUInt64();
  return true;
}

SpeakerRecordDescWriter::~SpeakerRecordDescWriter() { Finalize(); }

bool SpeakerRecordDescWriter::Initialize(const std::string& file_name) {
  Finalize();
  file_ = File::Create(file_name);
  if (!file_.IsOpen()) return Failed("failed to open file");
  initialized_ = true;
  return true;
}

bool SpeakerRecordDescWriter::Finalize() {
  if (initialized_) (void)WriteToFile();  // Logged there; the record ends all the same.
  Reset();
  return true;
}

void SpeakerRecordDescWriter::Reset() {
  initialized_ = false;
  overall_ = {};
  sessions_.clear();
  current_session_ = nullptr;
  earlier_sessions_text_.clear();
  (void)file_.Close();  // False only says that it was not open.
}

void SpeakerRecordDescWriter::SetAudioFormat(uint32_t channels, uint32_t /*unused1*/,
                                             uint32_t /*unused2*/) {
  overall_.audio_channel_count = channels;
}

void SpeakerRecordDescWriter::OnRecordStart(int64_t timestamp_us) {
  if (!initialized_) {
    Failed("non-inited");
    return;
  }
  if (current_session_) current_session_->sessoin_end_timestamp_us = timestamp_us;
  if (!sessions_.empty()) {
    earlier_sessions_text_ += StyledSession(sessions_.back()) + kSessionSeparator;
  }
  ++overall_.record_session_count;
  sessions_.emplace_back();
  current_session_ = &sessions_.back();
  current_session_->sessoin_start_timestamp_us = timestamp_us;
  current_session_->sessoin_end_timestamp_us = timestamp_us;
  (void)WriteToFile();  // A descriptor that cannot be written does not stop the recording.
}

void SpeakerRecordDescWriter::OnRecordStop(int64_t timestamp_us) {
  if (!HasOpenSession(__func__)) return;
  current_session_->sessoin_end_timestamp_us = timestamp_us;
  current_session_ = nullptr;
  // Intended: not rewritten here, the next write does it.
}

void SpeakerRecordDescWriter::OnVideoSwitch(bool is_desktop, int64_t timestamp_us) {
  if (!HasOpenSession(__func__)) return;
  if (is_desktop) overall_.contain_desktop = 1;
  ++current_session_->session_video_switch_count;
  current_session_->sessoin_end_timestamp_us = timestamp_us;
  (void)WriteToFile();
}

void SpeakerRecordDescWriter::OnRecordVideoFrame(int64_t timestamp_us) {
  if (!HasOpenSession(__func__)) return;
  overall_.contain_video = 1;
  ++current_session_->session_video_frame_count;
  current_session_->sessoin_end_timestamp_us = timestamp_us;
  // Intended: only audio frames, which come at a steady rhythm, rewrite the document.
}

void SpeakerRecordDescWriter::OnRecordAudioFrame(int64_t timestamp_us) {
  if (!HasOpenSession(__func__)) return;
  ++current_session_->session_audio_frame_count;
  current_session_->sessoin_end_timestamp_us = timestamp_us;
  (void)WriteToFile();
}

bool SpeakerRecordDescWriter::HasOpenSession(const char* event) const {
  CallSite site = Here();
  site.function = event;
  if (!initialized_) return Failed("non-inited", site);
  if (!current_session_) return Failed("no aviable session", site);  // sic
  return true;
}

std::string SpeakerRecordDescWriter::RenderDocument() const {
  if (sessions_.empty()) return StyledDocument(overall_, nullptr);
  std::string document = StyledDocument(overall_, &sessions_.back());
  const size_t first = document.find(kSessionsOpening) + sizeof(kSessionsOpening) - 1;
  document.insert(first, earlier_sessions_text_);
  return document;
}

bool SpeakerRecordDescWriter::WriteToFile() {
  const std::string text = RenderDocument();
  // Intended: not truncated first. Counts and times only grow, so the text covers the former one; a
  // clock that is set back may leave a rest of it behind the document, which readers ignore.
  if (!file_.Seek(0) ||
      file_.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()) != text.size()) {
    return Failed("failed to write data");
  }
  return true;
}

SpeakerRecordDescReader::~SpeakerRecordDescReader() { Finalize(); }

bool SpeakerRecordDescReader::Finalize() {
  initialized_ = false;
  overall_ = {};
  sessions_.clear();
  return true;
}

bool SpeakerRecordDescReader::Initialize(const std::string& file_name) {
  Finalize();
  Json::Value root;
  if (!ReadFromFile(file_name, &root)) return FailedIn("ReadFromFile");
  if (!ParseSpeakerRecordOverall(root, &overall_)) return FailedIn("ParseSpeakerRecordOverall");
  if (!ParseSpeakerRecrodSessions(root, &sessions_)) return FailedIn("ParseSpeakerRecrodSessions");
  initialized_ = true;
  return true;
}

bool SpeakerRecordDescReader::GetSpeakerRecordOverall(SpeakerRecordOverall* out) const {
  if (!initialized_) return Failed("non-inited");
  *out = overall_;
  return true;
}

bool SpeakerRecordDescReader::GetSpeakerRecordSession(uint32_t index,
                                                      SpeakerRecordSession* out) const {
  if (!initialized_) return Failed("non-inited");
  if (index >= sessions_.size()) {
    LogFormatted(LS_ERROR, Here(), "invalid index = %u", index);
    return false;
  }
  *out = sessions_[index];
  return true;
}

bool SpeakerRecordDescReader::ReadFromFile(const std::string& file_name, Json::Value* root) const {
  const size_t size = kx_utility::GetFileSize(file_name);
  if (size == 0 || size > kMaxDescriptorSize) return Failed("file size is not valid");
  File input_file = File::Open(file_name);
  if (!input_file.IsOpen()) return Failed("failed to open file");
  std::string text(size + 1, '\0');
  if (input_file.Read(reinterpret_cast<uint8_t*>(&text[0]), size) != size) {
    return Failed("falied in input_file.Read");  // sic
  }
  text.resize(text.find('\0'));  // The text ends at the first zero, at the latest at the added one.
  if (!ParseJson(text, root)) return FailedIn("reader.parse");
  return true;
}

bool SpeakerRecordDescReader::ParseSpeakerRecordOverall(const Json::Value& root,
                                                        SpeakerRecordOverall* overall) const {
  Json::Value value;
  if (!GetValueFromJsonObject(root, kOverallKey, &value)) return FailedToGet(kOverallKey);
  const struct {
    const char* key;
    uint32_t* out;
  } members[] = {{kRecordSessionCountKey, &overall->record_session_count},
                 {kContainVideoKey, &overall->contain_video},
                 {kContainDesktopKey, &overall->contain_desktop},
                 {kAudioChannelCountKey, &overall->audio_channel_count}};
  for (const auto& member : members) {
    if (!GetUIntFromJsonObject(value, member.key, member.out)) return FailedToGet(member.key);
  }
  return true;
}

bool SpeakerRecordDescReader::ParseSpeakerRecrodSessions(
    const Json::Value& root, std::vector<SpeakerRecordSession>* sessions) const {
  Json::Value sessions_value;
  // Intended: the absence of the sessions is told with the other member's name.
  if (!GetValueFromJsonObject(root, kSessionKey, &sessions_value)) return FailedToGet(kOverallKey);
  // Null is what the writer stores for no sessions; it reads as an empty array.
  if (!sessions_value.isArray() && !sessions_value.isNull()) {
    return Failed("sessions_value is not a array");  // sic
  }
  // Compared before anything is allocated: the count may be any number.
  if (sessions_value.size() != overall_.record_session_count) {
    LogFormatted(LS_ERROR, Here(), "sessions_value = %u is not expected(%u)", sessions_value.size(),
                 overall_.record_session_count);
    return false;
  }
  sessions->resize(sessions_value.size());
  for (Json::ArrayIndex i = 0; i < sessions_value.size(); ++i) {
    if (!ParseSpeakerRecrodSession(sessions_value[i], &(*sessions)[i])) {
      return FailedIn("ParseSpeakerRecrodSession");
    }
  }
  return true;
}

bool SpeakerRecordDescReader::ParseSpeakerRecrodSession(const Json::Value& value,
                                                        SpeakerRecordSession* session) const {
  if (!GetInt64FromJsonObject(value, kSessionStartKey, &session->sessoin_start_timestamp_us)) {
    return FailedToGet(kSessionStartKey);
  }
  if (!GetInt64FromJsonObject(value, kSessionEndKey, &session->sessoin_end_timestamp_us)) {
    return FailedToGet(kSessionEndKey);
  }
  if (!GetUInt64FromJsonObject(value, kVideoFrameCountKey, &session->session_video_frame_count)) {
    return FailedToGet(kVideoFrameCountKey);
  }
  if (!GetUInt64FromJsonObject(value, kAudioFrameCountKey, &session->session_audio_frame_count)) {
    return FailedToGet(kAudioFrameCountKey);
  }
  if (!GetUIntFromJsonObject(value, kVideoSwitchCountKey, &session->session_video_switch_count)) {
    return FailedToGet(kVideoSwitchCountKey);
  }
  return true;
}

}  // namespace kxrtc
