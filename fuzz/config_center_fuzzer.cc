// The input is the configuration file. Whatever it holds: nothing is thrown, the severity is one of
// the six, a failed load gives all defaults, and a key that does not occur gives its default.
#include <filesystem>
#include <string>

#include "fuzz/fuzz_folder.h"
#include "fuzz/fuzz_input.h"
#include "kxrtc/config/config_center.h"
#include "tests/testing/working_dir.h"

namespace {

using kx_fuzz::Check;
using kxrtc::ConfigCenter;

// The folder whose "out" directory takes the file.
class Workplace {
 public:
  Workplace() { std::filesystem::create_directory(folder_.path() + "/out"); }

  const std::string& path() const { return folder_.path(); }
  void WriteConfig(const std::string& text) const { folder_.Write("out/kxrtc_config.cfg", text); }

 private:
  kx_fuzz::FuzzFolder folder_;
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
  // Left again, because the engine reads its corpus between the runs.
  const kx_testing::ScopedWorkingDir inside(workplace.path());
  const std::string text(reinterpret_cast<const char*>(data), size);
  workplace.WriteConfig(text);

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
