// kxrtc transcode with a manifest, a command for the MP4, and a repair before.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/testing/conference_record.h"
#include "tests/testing/json_outputs.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using kx_testing::AppendToFile;
using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr int kOk = 0;
constexpr int kUsage = 2;
constexpr int kUnreadable = 3;
constexpr int kRefused = 5;
constexpr int kCutShort = 7;
constexpr int kHookFailed = 14;
constexpr int kStopped = 143;

class ManifestOptionTest : public ::testing::Test {
 protected:
  ManifestOptionTest() {
    kx_testing::ConferenceRecord record(record_, kx_testing::MakeAudio(40, 2, true));
    record.Start();
    record.Speaks(kx_testing::kCamera, {"anna", 320, 180, "high", 12, 12, 1, false, "blue"});
    record.Stop();
    record.builder().Write();
  }

  ShellResult Transcode(const std::string& options = "") {
    return RunKxrtc("transcode --video copy --quiet --if-needed --manifest " + Quoted(manifest_) +
                    " " + Quoted(record_.path()) + " " + Quoted(mp4_) + " " + options);
  }
  std::vector<Json::Value> Lines() const {
    std::vector<Json::Value> lines;
    std::istringstream stream(fs::exists(manifest_) ? ReadFile(manifest_) : "");
    for (std::string text; std::getline(stream, text);) {
      Json::Value line;
      EXPECT_TRUE(Json::Reader().parse(text, line)) << text;
      kx_testing::KeepJsonOutput("kxrtc transcode --json", text + "\n");
      lines.push_back(line);
    }
    return lines;
  }
  std::vector<std::string> Outcomes() const {
    std::vector<std::string> outcomes;
    for (const Json::Value& line : Lines()) outcomes.push_back(line["outcome"].asString());
    return outcomes;
  }
  std::vector<std::string> Left() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(out_.path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
  void Tear() {
    const std::string index = record_.File("SpeakeRecord.index");
    fs::resize_file(index, fs::file_size(index) - 12);
  }

  TempDir record_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
  std::string manifest_ = out_.File("manifest.ndjson");
};

TEST_F(ManifestOptionTest, TellsOnceOfEachMp4) {
  ASSERT_EQ(Transcode().exit_status, kOk);
  ASSERT_EQ(Transcode().exit_status, kOk);
  ASSERT_THAT(Outcomes(), ElementsAre("made"));
  const Json::Value line = Lines()[0];
  EXPECT_EQ(line["document"].asString(), "kxrtc.outcome");
  EXPECT_EQ(line["version"].asInt(), 1);
  EXPECT_EQ(line["output"].asString(), "out.mp4");
  EXPECT_EQ(line["input"].asString(), record_.path());
  EXPECT_EQ(line["options"]["video"].asString(), "copy");
  EXPECT_EQ(line["status"].asInt(), kOk);
  EXPECT_EQ(line["bytes"].asUInt64(), fs::file_size(mp4_));
  EXPECT_GT(line["duration_us"].asInt64(), 0);
  for (const char* name : {"seconds", "time", "machine", "kxrtc_version", "made_of"}) {
    EXPECT_TRUE(line.isMember(name)) << name;
  }
  for (const char* name : {"event", "exit_status", "message", "warnings", "hook_status"}) {
    EXPECT_FALSE(line.isMember(name)) << name;
  }
  EXPECT_EQ(Transcode("--check-sound").exit_status, kOk);
  EXPECT_THAT(Outcomes(), ElementsAre("made", "made"));
}

TEST_F(ManifestOptionTest, TellsLaterOfAnMp4WhoseMakerWasKilledBefore) {
  ASSERT_EQ(Transcode().exit_status, kOk);
  const std::string made_of = Lines()[0]["made_of"].asString();
  fs::remove(manifest_);
  ASSERT_EQ(Transcode().exit_status, kOk);
  ASSERT_EQ(Transcode().exit_status, kOk);
  ASSERT_THAT(Outcomes(), ElementsAre("found"));
  EXPECT_EQ(Lines()[0]["made_of"].asString(), made_of);
  EXPECT_EQ(Lines()[0]["bytes"].asUInt64(), fs::file_size(mp4_));
}

TEST_F(ManifestOptionTest, TellsOfWarningsAndFailures) {
  Tear();
  EXPECT_EQ(Transcode().exit_status, kCutShort);
  fs::remove(record_.File("SpeakeRecord.index"));
  EXPECT_EQ(Transcode("--force").exit_status, kUnreadable);
  ASSERT_THAT(Outcomes(), ElementsAre("made", "failed"));
  EXPECT_EQ(Lines()[0]["status"].asInt(), kCutShort);
  EXPECT_EQ(Lines()[0]["warnings"].size(), 1u);
  EXPECT_EQ(Lines()[1]["status"].asInt(), kUnreadable);
  EXPECT_THAT(Lines()[1]["message"].asString(), HasSubstr("SpeakeRecord.index"));
  EXPECT_FALSE(Lines()[1].isMember("made_of"));
}

TEST_F(ManifestOptionTest, RefusesAManifestThatCannotBeWritten) {
  manifest_ = record_.File("SpeakeRecord.desc");
  const std::string before = ReadFile(manifest_);
  EXPECT_THAT(Transcode().errors, HasSubstr(" is a file of the record"));
  EXPECT_EQ(ReadFile(manifest_), before);
  manifest_ = out_.File("missing/manifest");
  EXPECT_EQ(Transcode().exit_status, kRefused);
  EXPECT_THAT(Left(), IsEmpty());
  EXPECT_EQ(RunKxrtc("transcode a b.mp4 --on-done true").exit_status, kUsage);
}

TEST_F(ManifestOptionTest, ACommandGetsTheFactsAndIsRunOnce) {
  const std::string told = Quoted(out_.File("told"));
  const std::string option =
      "--on-done " + Quoted("echo \"$KXRTC_OUTCOME $KXRTC_OUTPUT $KXRTC_STATUS\" >> " + told);
  ASSERT_EQ(Transcode(option).exit_status, kOk);
  ASSERT_EQ(Transcode(option).exit_status, kOk);
  EXPECT_EQ(ReadFile(out_.File("told")), "made " + mp4_ + " 0\n");
  ASSERT_THAT(Lines().size(), 1u);
  EXPECT_EQ(Lines()[0]["hook_status"].asInt(), 0);
  // Standard output is for --json.
  EXPECT_EQ(Transcode("--check-sound --on-done 'echo said'").output, "");
}

TEST_F(ManifestOptionTest, ACommandThatFailsIsRunAgainAlone) {
  const ShellResult failed = Transcode("--on-done 'exit 3'");
  EXPECT_EQ(failed.exit_status, kHookFailed);
  EXPECT_EQ(failed.errors,
            "kxrtc: the command of --on-done ended with status 3; " + mp4_ + " is complete\n");
  const fs::file_time_type made = fs::last_write_time(mp4_);
  EXPECT_EQ(Transcode("--on-done 'kill -9 $$'").exit_status, kHookFailed);
  EXPECT_EQ(Transcode("--on-done true").exit_status, kOk);
  EXPECT_EQ(Transcode("--on-done false").exit_status, kOk);
  EXPECT_THAT(Outcomes(), ElementsAre("hook_failed", "hook_failed", "found"));
  EXPECT_EQ(Lines()[1]["hook_status"].asInt(), 128 + 9);
  EXPECT_EQ(fs::last_write_time(mp4_), made);
}

TEST_F(ManifestOptionTest, ASignalStopsTheCommandToo) {
  const ShellResult result =
      Transcode("--on-done 'kill -TERM $PPID; sleep 60; touch " + out_.File("late") + "'");
  EXPECT_EQ(result.exit_status, kStopped);
  EXPECT_THAT(result.errors,
              HasSubstr("stopped before the line in the manifest; " + mp4_ + " is complete"));
  EXPECT_THAT(Outcomes(), IsEmpty());
  EXPECT_EQ(Transcode("--on-done true").exit_status, kOk);
  EXPECT_THAT(Outcomes(), ElementsAre("found"));
  EXPECT_THAT(Left(), UnorderedElementsAre("out.mp4", "manifest.ndjson"));
}

// Whoever stops a group of processes may reach one of them several times.
TEST_F(ManifestOptionTest, SignalsThatGoOnLeaveNothingBeside) {
  Tear();
  const std::string signals = "while kill -TERM $program; do :; done > /dev/null 2>&1";
  const std::string options = "--repair --on-done " + Quoted("export program=$PPID; setsid sh -c " +
                                                             Quoted(signals) + " & sleep 60");
  for (int run = 0; run < 8; ++run) {
    EXPECT_EQ(Transcode(options).exit_status, kStopped);
    ASSERT_THAT(Left(), UnorderedElementsAre("out.mp4", "manifest.ndjson")) << run;
  }
}

TEST_F(ManifestOptionTest, RepairsACopyAndLeavesTheRecord) {
  ASSERT_EQ(Transcode("--repair").exit_status, kOk);
  EXPECT_FALSE(Lines()[0].isMember("repaired"));
  const std::string whole = ReadFile(mp4_);
  Tear();
  const std::string index = ReadFile(record_.File("SpeakeRecord.index"));
  ASSERT_EQ(Transcode("--repair").exit_status, kOk);
  ASSERT_EQ(Transcode("--repair").exit_status, kOk);
  ASSERT_THAT(Outcomes(), ElementsAre("made", "made"));
  EXPECT_TRUE(Lines()[1]["repaired"].asBool());
  EXPECT_EQ(ReadFile(record_.File("SpeakeRecord.index")), index);
  EXPECT_THAT(Left(), UnorderedElementsAre("out.mp4", "manifest.ndjson"));
  // kxrtc list finds that nothing is due.
  const ShellResult due =
      RunKxrtc("list --pending --print0 --out " + Quoted(out_.path()) + " --manifest " +
               Quoted(manifest_) + " " + Quoted(record_.path()));
  EXPECT_EQ(due.exit_status, kOk);
}

TEST_F(ManifestOptionTest, WhatCannotBeRepairedIsTranscodedAsItIs) {
  fs::remove(record_.File("SpeakeRecord.264"));
  fs::create_directory(record_.File("SpeakeRecord.264"));
  const int before = Transcode().exit_status;
  EXPECT_NE(before, kOk);
  EXPECT_EQ(Transcode("--repair").exit_status, before);
  EXPECT_THAT(Lines()[1]["warnings"][0].asString(), HasSubstr(" cannot be repaired: "));
}

TEST_F(ManifestOptionTest, RemovesTheRepairedCopyOfAKilledRun) {
  Tear();
  ASSERT_EQ(
      Transcode("--repair --on-done " + Quoted("ls -A " + out_.path() + " > " + out_.File("seen")))
          .exit_status,
      kOk);
  std::istringstream seen(ReadFile(out_.File("seen")));
  std::string copy;
  for (std::string name; std::getline(seen, name);) {
    if (name.find(".out.mp4.repaired.partial-") == 0) copy = name;
  }
  ASSERT_NE(copy, "");
  fs::remove(out_.File("seen"));
  fs::create_directories(out_.File(copy + "/record"));
  WriteFile(out_.File(copy + "/record/SpeakeRecord.264"), "left");
  EXPECT_EQ(RunKxrtc("list --print0 " + Quoted(out_.path())).output, "");
  WriteFile(out_.File(".out.mp4.lock"), "");
  ASSERT_EQ(Transcode("--repair").exit_status, kOk);
  EXPECT_THAT(Left(), UnorderedElementsAre("out.mp4", "manifest.ndjson"));
}

}  // namespace
