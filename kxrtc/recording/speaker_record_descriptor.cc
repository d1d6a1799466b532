#include "kxrtc/recording/speaker_record_descriptor.h"

#include <json/json.h>

#include <algorithm>
#include <exception>
#include <new>

#include "kx_utility/failure_log.h"
#include "kx_utility/fileutils.h"
#include "kx_utility/json_accessors.h"
#include "kx_utility/text_file.h"

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
using kx_utility::Succeeds;

bool FailedToGet(const char* key, CallSite site = Here()) {
  LogFormatted(LS_ERROR, site, "failed to get %s", key);
  return false;
}

// The text ends at its first zero byte. Old name, old rules: comments are allowed and whatever
// follows the first value is ignored.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool ParseText(std::string text, Json::Value* root) {
  text.resize(std::min(text.size(), text.find('\0')));
  try {
    Json::Reader reader;
    return reader.parse(text, *root, true);
  } catch (const std::exception&) {  // Thrown for values nested too deep, or without memory.
    return false;
  }
}
#pragma GCC diagnostic pop

}  // namespace

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
  text_.Reset();
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
  current_session_ = nullptr;
  try {
    sessions_.emplace_back();
  } catch (const std::bad_alloc&) {
    (void)FailedIn("OnRecordStart");
    return;
  }
  ++overall_.record_session_count;
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

bool SpeakerRecordDescWriter::WriteToFile() {
  std::string text;
  try {
    text = text_.Render(overall_, sessions_);
  } catch (const std::bad_alloc&) {
    return Failed("failed to write data");
  }
  // Intended: not truncated first. Counts and times only grow, so the text covers the old one. If
  // the clock is set back, a rest of it may follow the document; readers ignore it.
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
  if (!Succeeds([&] { return ReadFromFile(file_name, &root); })) return FailedIn("ReadFromFile");
  return Parse(root, Here());
}

bool SpeakerRecordDescReader::InitializeFromText(std::string text) {
  Finalize();
  Json::Value root;
  if (!ParseText(std::move(text), &root)) return FailedIn("reader.parse");
  return Parse(root, Here());
}

bool SpeakerRecordDescReader::Parse(const Json::Value& root, CallSite site) {
  if (!Succeeds([&] { return ParseSpeakerRecordOverall(root, &overall_); })) {
    return FailedIn("ParseSpeakerRecordOverall", site);
  }
  if (!Succeeds([&] { return ParseSpeakerRecrodSessions(root, &sessions_); })) {
    return FailedIn("ParseSpeakerRecrodSessions", site);
  }
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
  if (size == 0) return Failed("file size is not valid");
  File input_file = File::Open(file_name);
  if (!input_file.IsOpen()) return Failed("failed to open file");
  std::string text;
  if (!kx_utility::ReadText(&input_file, size, &text)) {
    return Failed("falied in input_file.Read");  // sic
  }
  return ParseText(std::move(text), root) || FailedIn("reader.parse");
}

bool SpeakerRecordDescReader::ParseSpeakerRecordOverall(const Json::Value& root,
                                                        SpeakerRecordOverall* overall) const {
  Json::Value value;
  if (!GetValueFromJsonObject(root, descriptor_key::kOverall, &value))
    return FailedToGet(descriptor_key::kOverall);
  const struct {
    const char* key;
    uint32_t* out;
  } members[] = {{descriptor_key::kSessionCount, &overall->record_session_count},
                 {descriptor_key::kContainVideo, &overall->contain_video},
                 {descriptor_key::kContainDesktop, &overall->contain_desktop},
                 {descriptor_key::kAudioChannelCount, &overall->audio_channel_count}};
  for (const auto& member : members) {
    if (!GetUIntFromJsonObject(value, member.key, member.out)) return FailedToGet(member.key);
  }
  return true;
}

bool SpeakerRecordDescReader::ParseSpeakerRecrodSessions(
    const Json::Value& root, std::vector<SpeakerRecordSession>* sessions) const {
  Json::Value sessions_value;
  // Intended: missing sessions are reported with the other member's name.
  if (!GetValueFromJsonObject(root, descriptor_key::kSessions, &sessions_value))
    return FailedToGet(descriptor_key::kOverall);
  // The writer stores null for no sessions; it reads as an empty array.
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
  if (!GetInt64FromJsonObject(value, descriptor_key::kStartTimestamp,
                              &session->sessoin_start_timestamp_us)) {
    return FailedToGet(descriptor_key::kStartTimestamp);
  }
  if (!GetInt64FromJsonObject(value, descriptor_key::kEndTimestamp,
                              &session->sessoin_end_timestamp_us)) {
    return FailedToGet(descriptor_key::kEndTimestamp);
  }
  if (!GetUInt64FromJsonObject(value, descriptor_key::kVideoFrameCount,
                               &session->session_video_frame_count)) {
    return FailedToGet(descriptor_key::kVideoFrameCount);
  }
  if (!GetUInt64FromJsonObject(value, descriptor_key::kAudioFrameCount,
                               &session->session_audio_frame_count)) {
    return FailedToGet(descriptor_key::kAudioFrameCount);
  }
  if (!GetUIntFromJsonObject(value, descriptor_key::kVideoSwitchCount,
                             &session->session_video_switch_count)) {
    return FailedToGet(descriptor_key::kVideoSwitchCount);
  }
  return true;
}

}  // namespace kxrtc
