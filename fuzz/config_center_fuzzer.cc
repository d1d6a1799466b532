// The input is the configuration file. Whatever it holds: nothing is thrown, the severity is one of
// the six, a failed load gives all defaults, and a key that does not occur gives its default.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/fuzz_input.h"
#include "kxrtc/config/config_center.h"

namespace {

using kx_fuzz::Check;
using kxrtc::ConfigCenter;

// Works in a new folder, removed at the end, whose "out" directory takes the file.
class Workplace {
 public:
  Workplace() {
    const bool in_memory = std::filesystem::is_directory("/dev/shm");
    std::string folder = in_memory ? "/dev/shm/kxrtc_fuzz_XXXXXX" : "/tmp/kxrtc_fuzz_XXXXXX";
    Check(mkdtemp(folder.data()) != nullptr, "a folder can be made");
    folder_ = folder;
    former_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_);
    std::filesystem::create_directory("out");
  }
  ~Workplace() {
    std::error_code ignored;  // There is nobody left to tell.
    std::filesystem::current_path(former_, ignored);
    std::filesystem::remove_all(folder_, ignored);
  }

 private:
  std::filesystem::path folder_;
  std::filesystem::path former_;
};

bool HasDefaults(const ConfigCenter& config) {
  return config.GetLoggingSeverity() == kx_utility::LS_NONE &&
         !config.IsLocalNetworkRecordingEnabled() && !config.IsRemoteNetworkRecordingEnabled() &&
         !config.IsLocalEncodedDataRecordingEnabled() &&
         config.GetLocalNetworkRecordingFolderPath().empty() &&
         config.GetRemoteNetworkRecordingFolderPath().empty() &&
         config.GetLocalEncodedDataRecordingFolderPath().empty() && config.IsPreferHWEncode();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Workplace workplace;
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::ofstream("out/kxrtc_config.cfg", std::ios::binary | std::ios::trunc) << text;

  ConfigCenter config;
  const bool loaded = config.LoadConfigFile();
  const int severity = config.GetLoggingSeverity();
  Check(severity >= 0 && severity <= 5, "the severity is one of six");
  Check(loaded || HasDefaults(config), "a failed load gives all defaults");

  const bool escapes = text.find('\\') != std::string::npos;  // A key may be written with them.
  const auto occurs = [&](const char* key) {
    return escapes || text.find(key) != std::string::npos;
  };
  Check(occurs("loggin_serverity") || severity == 5, "no severity gives 5");
  Check(occurs("prefer_hw_encode") || config.IsPreferHWEncode(), "hardware is preferred");
  Check(occurs("true") || (!config.IsLocalNetworkRecordingEnabled() &&
                           !config.IsRemoteNetworkRecordingEnabled() &&
                           !config.IsLocalEncodedDataRecordingEnabled()),
        "recording is switched on by the word true alone");
  Check(occurs("local_encoded_data_recording_filename") ||
            config.GetLocalEncodedDataRecordingFolderPath().empty(),
        "no path gives an empty one");
  return 0;
}
