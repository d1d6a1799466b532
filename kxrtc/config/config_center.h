// The optional JSON file "kxrtc_config.cfg" in the output directory. It changes diagnostics and
// recording switches without a new build.
// Threads: an object belongs to the thread that made it; objects are independent.
#ifndef KXRTC_CONFIG_CONFIG_CENTER_H_
#define KXRTC_CONFIG_CONFIG_CENTER_H_

#include <json/value.h>

#include <memory>
#include <string>

#include "kx_utility/export.h"
#include "kx_utility/failure_log.h"
#include "kx_utility/logging.h"

namespace kxrtc {

// Typed access to one loaded file. For a key that is missing or of another type, and for every key
// of a document that is not an object, the getter returns its default.
class KX_EXPORT ConfigCenter {
 public:
  // Reads the file again. Never null: without a readable file every getter returns its default.
  [[nodiscard]] static std::unique_ptr<ConfigCenter> GetConfigCenter();

  // Forgets what an earlier call loaded, also on failure. False without a message when there is no
  // file, and after a message when it cannot be read, is not JSON or memory runs out. A file of any
  // size is read; a sparse one only up to its first large hole.
  [[nodiscard]] bool LoadConfigFile();

  // "loggin_serverity": 0 to 5, larger values count as 5; 5 by default.
  // Intended: a negative number gives 5 too, not the most verbose severity.
  kx_utility::LoggingSeverity GetLoggingSeverity() const;

  // "enable_local_network_recording" and so on; false by default.
  bool IsLocalNetworkRecordingEnabled() const;
  bool IsRemoteNetworkRecordingEnabled() const;
  bool IsLocalEncodedDataRecordingEnabled() const;

  // "local_network_recording_folder_path" and so on; empty by default.
  std::string GetLocalNetworkRecordingFolderPath() const;
  std::string GetRemoteNetworkRecordingFolderPath() const;
  // Intended: its key is "local_encoded_data_recording_filename".
  std::string GetLocalEncodedDataRecordingFolderPath() const;

  // "prefer_hw_encode"; the one switch that is true by default.
  bool IsPreferHWEncode() const;

 private:
  bool Load(kx_utility::CallSite site);
  bool GetBool(const char* key, bool default_value) const;
  std::string GetString(const char* key) const;
  const Json::Value& Member(const char* key) const;

  Json::Value document_;
};

}  // namespace kxrtc

#endif  // KXRTC_CONFIG_CONFIG_CENTER_H_
