#include "kxrtc/config/config_center.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/testing/log_capture.h"
#include "tests/testing/run_on_threads.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/working_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::kx_testing::ScopedWorkingDir;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::kx_utility::LoggingSeverity;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What the eight getters yield.
struct Settings {
  int severity = 5;
  bool local = false;
  bool remote = false;
  bool encoded = false;
  std::string local_path;
  std::string remote_path;
  std::string encoded_path;
  bool hardware = true;

  bool operator==(const Settings& other) const {
    return severity == other.severity && local == other.local && remote == other.remote &&
           encoded == other.encoded && local_path == other.local_path &&
           remote_path == other.remote_path && encoded_path == other.encoded_path &&
           hardware == other.hardware;
  }
};

Settings SettingsOf(const ConfigCenter& config) {
  return {config.GetLoggingSeverity(),
          config.IsLocalNetworkRecordingEnabled(),
          config.IsRemoteNetworkRecordingEnabled(),
          config.IsLocalEncodedDataRecordingEnabled(),
          config.GetLocalNetworkRecordingFolderPath(),
          config.GetRemoteNetworkRecordingFolderPath(),
          config.GetLocalEncodedDataRecordingFolderPath(),
          config.IsPreferHWEncode()};
}

// Works in a folder whose "out" directory takes the configuration file.
class ConfigCenterTest : public ::testing::Test {
 protected:
  ConfigCenterTest() { std::filesystem::create_directory("out"); }

  static void WriteConfig(const std::string& text) { WriteFile("out/kxrtc_config.cfg", text); }

  static Settings Load() { return SettingsOf(*ConfigCenter::GetConfigCenter()); }

  static Settings LoadText(const std::string& text) {
    WriteConfig(text);
    return Load();
  }

  std::string FoundLine() const { return "WARNING found the config file = " + path_; }

  TempDir dir_;
  ScopedWorkingDir inside_{dir_.path()};
  const std::string path_ = std::filesystem::current_path().string() + "/out/kxrtc_config.cfg";
  ScopedLogCapture log_;
};

TEST_F(ConfigCenterTest, YieldsDefaultsInSilenceWithoutAFile) {
  EXPECT_EQ(Settings(), Load());
  EXPECT_FALSE(ConfigCenter().LoadConfigFile());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ConfigCenterTest, ObjectsOfDifferentThreadsAreIndependent) {
  constexpr int kThreads = 4;
  constexpr int kTurns = 50;
  WriteConfig(R"({"loggin_serverity": 2, "enable_local_network_recording": true,
                  "remote_network_recording_folder_path": "a/b/", "prefer_hw_encode": false})");
  Settings expected;
  expected.severity = 2;
  expected.local = true;
  expected.remote_path = "a/b/";
  expected.hardware = false;
  kx_testing::RunOnThreads(kThreads, [&] {
    ConfigCenter own;
    for (int i = 0; i < kTurns; ++i) {
      EXPECT_EQ(Load(), expected);
      EXPECT_TRUE(own.LoadConfigFile());
      EXPECT_EQ(SettingsOf(own), expected);
    }
  });
  EXPECT_EQ(log_.lines(), std::vector<std::string>(2 * kThreads * kTurns, FoundLine()));
}

TEST_F(ConfigCenterTest, YieldsDefaultsBeforeAnythingIsLoaded) {
  EXPECT_EQ(Settings(), SettingsOf(ConfigCenter()));
}

TEST_F(ConfigCenterTest, ReadsEveryKey) {
  const Settings expected = {2, true, true, true, "/local", "/remote", "clip.264", false};
  EXPECT_EQ(expected, LoadText(R"(// comments are allowed
      {
        "loggin_serverity": 2,
        "enable_local_network_recording": true,
        "enable_remote_network_recording": true,
        "enable_local_encoded_data_recording": true,
        "local_network_recording_folder_path": "/local",
        "remote_network_recording_folder_path": "/remote",
        "local_encoded_data_recording_filename": "clip.264", /* anywhere */
        "prefer_hw_encode": false
      })"));
  EXPECT_THAT(log_.lines(), ElementsAre(FoundLine()));
}

TEST_F(ConfigCenterTest, TreatsValuesOfOtherTypesAsMissing) {
  EXPECT_EQ(Settings(), LoadText(R"({
        "loggin_serverity": "2",
        "enable_local_network_recording": 1,
        "enable_remote_network_recording": "true",
        "enable_local_encoded_data_recording": [true],
        "local_network_recording_folder_path": 7,
        "remote_network_recording_folder_path": {},
        "local_encoded_data_recording_filename": null,
        "prefer_hw_encode": 0
      })"));
  EXPECT_THAT(log_.lines(), ElementsAre(FoundLine()));
}

TEST_F(ConfigCenterTest, IgnoresKeysThatAreSpeltOtherwise) {
  EXPECT_EQ(Settings(), LoadText(R"({"logging_severity": 1,
      "local_encoded_data_recording_folder_path": "x", "Prefer_hw_encode": false})"));
}

TEST_F(ConfigCenterTest, SeesAChangeAtTheNextLoad) {
  EXPECT_EQ(2, LoadText(R"({"loggin_serverity": 2})").severity);
  EXPECT_EQ(3, LoadText(R"({"loggin_serverity": 3})").severity);
}

TEST_F(ConfigCenterTest, ForgetsWhatWasLoadedWhenALaterLoadFails) {
  ConfigCenter config;
  WriteConfig(R"({"prefer_hw_encode": false})");
  EXPECT_TRUE(config.LoadConfigFile());
  EXPECT_FALSE(config.IsPreferHWEncode());
  WriteConfig(R"({"prefer_hw_encode": false)");
  EXPECT_FALSE(config.LoadConfigFile());
  EXPECT_EQ(Settings(), SettingsOf(config));
}

struct SeverityCase {
  const char* name;
  const char* number;
  int severity;
};

class ConfigSeverityTest : public ConfigCenterTest,
                           public ::testing::WithParamInterface<SeverityCase> {};

TEST_P(ConfigSeverityTest, IsTheNumberOrFive) {
  const std::string number = GetParam().number;
  EXPECT_EQ(GetParam().severity, LoadText("{\"loggin_serverity\": " + number + "}").severity);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, ConfigSeverityTest,
    ::testing::Values(SeverityCase{"Zero", "0", 0}, SeverityCase{"Info", "2", 2},
                      SeverityCase{"Error", "4", 4}, SeverityCase{"None", "5", 5},
                      SeverityCase{"AboveNone", "6", 5}, SeverityCase{"Nine", "9", 5},
                      SeverityCase{"MinusOne", "-1", 5}, SeverityCase{"Int32Max", "2147483647", 5},
                      SeverityCase{"Int32Min", "-2147483648", 5},
                      SeverityCase{"BeyondInt32", "2147483648", 5},
                      SeverityCase{"TwoBeyond32Bits", "4294967298", 5},
                      SeverityCase{"TwoBelow32Bits", "-4294967294", 5},
                      SeverityCase{"Beyond64Bits", "99999999999999999999", 5},
                      SeverityCase{"IntegerWrittenAsAReal", "2.0", 2},
                      SeverityCase{"Fraction", "2.5", 5}, SeverityCase{"Boolean", "true", 5}),
    [](const auto& param_info) { return param_info.param.name; });

struct DocumentCase {
  const char* name;
  std::string text;
  bool parses;
};

class ConfigDocumentTest : public ConfigCenterTest,
                           public ::testing::WithParamInterface<DocumentCase> {};

TEST_P(ConfigDocumentTest, YieldsDefaults) {
  EXPECT_EQ(Settings(), LoadText(GetParam().text));
  if (GetParam().parses) {
    EXPECT_THAT(log_.lines(), ElementsAre(FoundLine()));
  } else {
    EXPECT_THAT(log_.lines(), ElementsAre(FoundLine(), "WARNING failed in reader.parse"));
  }
}

std::string Nested(size_t depth, const std::string& open, const std::string& close) {
  std::string text;
  for (size_t i = 0; i < depth; ++i) text += open;
  text += "1";
  for (size_t i = 0; i < depth; ++i) text += close;
  return text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ConfigDocumentTest,
    ::testing::Values(DocumentCase{"EmptyObject", "{}", true},
                      DocumentCase{"Array", R"([{"prefer_hw_encode": false}])", true},
                      DocumentCase{"Number", "7", true}, DocumentCase{"Null", "null", true},
                      DocumentCase{"String", "\"prefer_hw_encode\"", true},
                      DocumentCase{"EmptyFile", "", false},
                      DocumentCase{"Cut", R"({"prefer_hw_encode": false)", false},
                      DocumentCase{"NoJson", "prefer_hw_encode = false", false},
                      DocumentCase{"Zeros", std::string(16, '\0'), false},
                      DocumentCase{"DeepArrays", Nested(100000, "[", "]"), false},
                      DocumentCase{"DeepObjects", Nested(100000, "{\"a\":", "}"), false}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(ConfigCenterTest, ReadsALargeFile) {
  const std::string padding(size_t{3} << 20, ' ');
  EXPECT_FALSE(LoadText("{" + padding + R"("prefer_hw_encode": false})").hardware);
  EXPECT_THAT(log_.lines(), ElementsAre(FoundLine()));
}

TEST_F(ConfigCenterTest, ReadsAHugeSparseFileAsFarAsItsText) {
  WriteConfig("");
  std::filesystem::resize_file(path_, uintmax_t{1} << 40);
  EXPECT_EQ(Settings(), Load());
  EXPECT_THAT(log_.lines(), ElementsAre(FoundLine(), "WARNING failed in reader.parse"));
  log_.Clear();
  WriteConfig(R"({"prefer_hw_encode": false})");
  std::filesystem::resize_file(path_, uintmax_t{1} << 40);
  EXPECT_FALSE(Load().hardware);
  EXPECT_THAT(log_.lines(), ElementsAre(FoundLine()));
}

// A program that runs cannot be opened for writing, not even by root.
TEST_F(ConfigCenterTest, ReportsAFileThatCannotBeOpened) {
  const std::string path = "out/kxrtc_config.cfg";
  std::filesystem::copy_file("/bin/sleep", path);
  char* const arguments[] = {const_cast<char*>("sleep"), const_cast<char*>("60"), nullptr};
  pid_t child = 0;
  ASSERT_EQ(0, posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, nullptr));
  const Settings settings = Load();
  kill(child, SIGKILL);
  ASSERT_EQ(child, waitpid(child, nullptr, 0));
  EXPECT_EQ(Settings(), settings);
  EXPECT_THAT(log_.lines(), ElementsAre(FoundLine(), "WARNING failed in config_file.Read"));
}

TEST_F(ConfigCenterTest, TreatsWhatIsNoRegularFileAsEmpty) {
  ASSERT_EQ(0, mkfifo(path_.c_str(), 0600));
  EXPECT_EQ(Settings(), Load());
  EXPECT_THAT(log_.lines(), ElementsAre(FoundLine(), "WARNING failed in reader.parse"));
}

}  // namespace
}  // namespace kxrtc
