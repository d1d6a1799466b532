#include <gmock/gmock.h>
#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>

#include "tests/testing/json_outputs.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

namespace fs = std::filesystem;

class BundleCommandTest : public testing::Test {
 protected:
  BundleCommandTest() { kx_testing::TwoSessions(record_).Write(); }

  ShellResult Bundle(const std::string& output, const std::string& options = "") const {
    return RunKxrtc("bundle " + Quoted(record_.path()) + " " + Quoted(output) + " " + options);
  }

  // The folder of the archive's content.
  std::string Unpack() const {
    EXPECT_EQ(
        RunShell("tar -xzf " + Quoted(archive_) + " -C " + Quoted(folder_.path())).exit_status, 0);
    const std::string unpacked = folder_.File("kxrtc-bundle/");
    for (const char* name : {"verify.json", "versions.json"}) {
      kx_testing::KeepJsonOutput("kxrtc bundle --json", ReadFile(unpacked + name));
    }
    return unpacked;
  }

  const TempDir record_;
  const TempDir folder_;
  const std::string archive_ = folder_.File("out.tar.gz");
};

TEST_F(BundleCommandTest, PacksARecordThatTellsTheSame) {
  const ShellResult result = Bundle(archive_);
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.output, HasSubstr("kxrtc-bundle/record/SpeakeRecord.264"));
  EXPECT_THAT(result.output, HasSubstr("\n" + archive_ + ": "));
  const std::string unpacked = Unpack();
  const std::string told = RunKxrtc("verify --json " + Quoted(record_.path())).output;
  const std::string packed = RunKxrtc("verify --json " + Quoted(unpacked + "record/")).output;
  const auto without = [](std::string text, const std::string& folder) {
    for (size_t at; (at = text.find(folder)) != text.npos;) text.erase(at, folder.size());
    return text;
  };
  EXPECT_EQ(without(packed, unpacked + "record/"), without(told, record_.path()));
  EXPECT_EQ(without(ReadFile(unpacked + "verify.json"), "record/"), without(told, record_.path()));
}

TEST_F(BundleCommandTest, TellsTheVersions) {
  ASSERT_EQ(Bundle(archive_).exit_status, 0);
  Json::Value versions;
  std::istringstream(ReadFile(Unpack() + "versions.json")) >> versions;
  EXPECT_EQ("kxrtc " + versions["kxrtc"].asString() + "\n", RunKxrtc("--version").output);
  EXPECT_THAT(versions["libraries"].getMemberNames(),
              ElementsAre("CLI11", "FFmpeg", "jsoncpp", "libarchive"));
  EXPECT_THAT(versions["libraries"]["FFmpeg"].asString(), HasSubstr("libavcodec "));
}

TEST_F(BundleCommandTest, SaysInItsHelpWhatLeavesTheMachine) {
  EXPECT_THAT(RunKxrtc("bundle --help").output, HasSubstr("What leaves the machine:\n"));
}

TEST_F(BundleCommandTest, ReplacesAnArchiveOnlyIfAsked) {
  WriteFile(archive_, "older");
  const ShellResult refused = Bundle(archive_);
  EXPECT_EQ(refused.exit_status, 5);
  EXPECT_THAT(refused.errors, HasSubstr("; --force replaces it\n"));
  EXPECT_EQ(ReadFile(archive_), "older");
  EXPECT_EQ(Bundle(archive_, "--force").exit_status, 0);
  EXPECT_THAT(ReadFile(archive_), StartsWith("\x1F\x8B"));
}

TEST_F(BundleCommandTest, NeverReplacesAFileOfTheRecord) {
  for (const char* name : {"SpeakeRecord.264", "SpeakerTimeline.ndjson"}) {
    const ShellResult refused = Bundle(record_.File(name), "--force");
    EXPECT_EQ(refused.exit_status, 5);
    EXPECT_THAT(refused.errors, HasSubstr(" is a file of the record\n"));
  }
  EXPECT_EQ(Bundle(record_.File("out.tar.gz")).exit_status, 0);
}

TEST_F(BundleCommandTest, RefusesAFolderWithoutARecord) {
  for (const char* name : {"", "missing/"}) {
    const ShellResult refused =
        RunKxrtc("bundle " + Quoted(folder_.File(name)) + " " + Quoted(archive_));
    EXPECT_EQ(refused.exit_status, 3);
    EXPECT_THAT(refused.errors, HasSubstr(" contains no readable record\n"));
    EXPECT_FALSE(fs::exists(archive_));
  }
}

TEST_F(BundleCommandTest, LeavesNothingOnAFullDisk) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer itself writes a small file when a program starts";
#endif
  for (const int bytes : {0, 100, 700}) {
    const ShellResult failed = RunShell(
        "prlimit --fsize=" + std::to_string(bytes) + " " + Quoted(KXRTC_PROGRAM) + " bundle " +
        Quoted(record_.path()) + " " + Quoted(archive_) + " 2>&1 >/dev/null | cat");
    EXPECT_THAT(failed.output, HasSubstr(archive_ + ": File too large\n")) << bytes;
    EXPECT_TRUE(fs::is_empty(folder_.path())) << bytes;
  }
}

TEST_F(BundleCommandTest, PacksWhatALinkLeadsTo) {
  fs::rename(record_.File("SpeakeRecord.264"), folder_.File("elsewhere"));
  fs::create_symlink(folder_.File("elsewhere"), record_.File("SpeakeRecord.264"));
  ASSERT_EQ(Bundle(archive_).exit_status, 0);
  const std::string unpacked = Unpack() + "record/SpeakeRecord.264";
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(unpacked)));
  EXPECT_EQ(fs::file_size(unpacked), fs::file_size(folder_.File("elsewhere")));
}

}  // namespace
