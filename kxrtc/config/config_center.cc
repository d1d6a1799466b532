#include "kxrtc/config/config_center.h"

#include <json/reader.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <utility>

#include "kx_utility/failure_log.h"
#include "kx_utility/file.h"
#include "kx_utility/fileutils.h"
#include "kx_utility/text_file.h"

namespace kxrtc {
namespace {

using kx_utility::CallSite;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::LoggingSeverity;
using kx_utility::LS_NONE;
using kx_utility::LS_WARNING;
using kx_utility::Succeeds;

constexpr char kConfigFileName[] = "kxrtc_config.cfg";

bool ReadConfigFile(const std::string& path, std::string* text) {
  const size_t size = kx_utility::GetFileSize(path);
  kx_utility::File config_file = kx_utility::File::Open(path);
  return kx_utility::ReadText(&config_file, size, text);
}

bool Parse(const std::string& text, Json::Value* document) {
  Json::Reader reader;
  try {
    return reader.parse(text.data(), text.data() + text.size(), *document);
  } catch (const std::exception&) {  // Thrown for a document nested too deeply, or without memory.
    return false;
  }
}

}  // namespace

std::unique_ptr<ConfigCenter> ConfigCenter::GetConfigCenter() {
  auto config_center = std::make_unique<ConfigCenter>();
  (void)config_center->LoadConfigFile();  // A failure leaves the defaults.
  return config_center;
}

bool ConfigCenter::LoadConfigFile() {
  document_ = Json::Value();
  return Succeeds([this, site = Here()] { return Load(site); });
}

bool ConfigCenter::Load(CallSite site) {
  const std::string path = kx_utility::OutputPath() + kConfigFileName;
  if (!kx_utility::FileExists(path)) return false;
  LogFormatted(LS_WARNING, site, "found the config file = %s", path.c_str());
  std::string text;
  if (!ReadConfigFile(path, &text)) {
    LogFormatted(LS_WARNING, site, "failed in config_file.Read");
    return false;
  }
  Json::Value document;
  if (!Parse(text, &document)) {
    LogFormatted(LS_WARNING, site, "failed in reader.parse");
    return false;
  }
  document_ = std::move(document);
  return true;
}

LoggingSeverity ConfigCenter::GetLoggingSeverity() const {
  const Json::Value& value = Member("loggin_serverity");  // sic
  if (!value.isInt()) return LS_NONE;
  // Intended: a negative number becomes a very large one.
  const auto severity = static_cast<uint32_t>(value.asInt());
  return static_cast<LoggingSeverity>(std::min(severity, static_cast<uint32_t>(LS_NONE)));
}

bool ConfigCenter::IsLocalNetworkRecordingEnabled() const {
  return GetBool("enable_local_network_recording", false);
}

bool ConfigCenter::IsRemoteNetworkRecordingEnabled() const {
  return GetBool("enable_remote_network_recording", false);
}

bool ConfigCenter::IsLocalEncodedDataRecordingEnabled() const {
  return GetBool("enable_local_encoded_data_recording", false);
}

std::string ConfigCenter::GetLocalNetworkRecordingFolderPath() const {
  return GetString("local_network_recording_folder_path");
}

std::string ConfigCenter::GetRemoteNetworkRecordingFolderPath() const {
  return GetString("remote_network_recording_folder_path");
}

std::string ConfigCenter::GetLocalEncodedDataRecordingFolderPath() const {
  return GetString("local_encoded_data_recording_filename");
}

bool ConfigCenter::IsPreferHWEncode() const { return GetBool("prefer_hw_encode", true); }

bool ConfigCenter::GetBool(const char* key, bool default_value) const {
  const Json::Value& value = Member(key);
  return value.isBool() ? value.asBool() : default_value;
}

std::string ConfigCenter::GetString(const char* key) const {
  const Json::Value& value = Member(key);
  return value.isString() ? value.asString() : std::string();
}

const Json::Value& ConfigCenter::Member(const char* key) const {
  return document_.isObject() ? document_[key] : Json::Value::nullSingleton();
}

}  // namespace kxrtc
