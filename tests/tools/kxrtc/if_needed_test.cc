// kxrtc transcode of what was transcoded before, or is just being transcoded.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "files/output_file.h"
#include "files/output_lock.h"
#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/timeline_lines.h"

namespace {

using kx_testing::AppendToFile;
using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::HasSubstr;

constexpr int kOk = 0;
constexpr int kRefused = 5;
constexpr int kCutShort = 7;
constexpr int kBusy = 75;

class IfNeededTest : public ::testing::Test {
 protected:
  IfNeededTest() {
    kx_testing::ConferenceRecord record(record_, kx_testing::MakeAudio(40, 2, true));
    record.Start();
    record.Speaks(kx_testing::kCamera, {"anna", 320, 180, "high", 12, 12, 1, false, "blue"});
    record.Stop();
    record.builder().Write();
  }

  ShellResult Transcode(const std::string& options = "") {
    return RunKxrtc("transcode --video copy --if-needed " + Quoted(record_.path()) + " " +
                    Quoted(mp4_) + " " + options);
  }
  void ExpectMade(const std::string& options = "") {
    const ShellResult result = Transcode(options);
    EXPECT_EQ(result.exit_status, kOk) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("video copied"));
  }
  void ExpectUpToDate(const std::string& options = "") {
    const std::filesystem::file_time_type before = std::filesystem::last_write_time(mp4_);
    const ShellResult result = Transcode(options);
    EXPECT_EQ(result.exit_status, kOk) << result.errors;
    EXPECT_EQ(result.output, mp4_ + " is up to date\n");
    EXPECT_EQ(std::filesystem::last_write_time(mp4_), before);
  }
  void ExpectRefused(const std::string& why) {
    const std::string before = ReadFile(mp4_);
    const ShellResult result = Transcode();
    EXPECT_EQ(result.exit_status, kRefused);
    EXPECT_EQ(result.errors, "kxrtc: " + mp4_ + why + "; --force replaces it\n");
    EXPECT_TRUE(ReadFile(mp4_) == before);
    ExpectMade("--force");
  }

  TempDir record_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
};

TEST_F(IfNeededTest, MakesItOnce) {
  ExpectMade();
  ExpectUpToDate();
  ExpectUpToDate("--force");
  EXPECT_EQ(Transcode("--quiet").output, "");
  Json::Value line;
  ASSERT_TRUE(Json::Reader().parse(Transcode("--json").output, line));
  EXPECT_EQ(line["event"].asString(), "up_to_date");
  EXPECT_EQ(line["output"].asString(), mp4_);
  EXPECT_EQ(line["exit_status"].asInt(), kOk);
  // An MP4 may be moved, and its time does not count.
  std::filesystem::rename(mp4_, out_.File("moved.mp4"));
  mp4_ = out_.File("moved.mp4");
  std::filesystem::last_write_time(
      mp4_, std::filesystem::file_time_type::clock::now() - std::chrono::hours(48));
  ExpectUpToDate();
}

TEST_F(IfNeededTest, MakesItAgainWhereSomethingChanged) {
  ExpectMade();
  ExpectMade("--check-sound");
  ExpectUpToDate("--check-sound");
  kx_testing::TimelineLines().Write(record_);
  ExpectMade("--check-sound");
  ExpectMade("--check-sound --no-metadata");
  AppendToFile(record_.File("SpeakeRecord.aac"), "more");
  ExpectMade();
  ExpectUpToDate();
}

TEST_F(IfNeededTest, RemovesWhatAKilledRunLeftBesideIt) {
  ExpectMade();
  const std::string lock = out_.File(".out.mp4.lock");
  std::string part;
  {
    kxrtc_host::OutputFile killed;
    ASSERT_TRUE(killed.Open(mp4_, true));
    for (const auto& entry : std::filesystem::directory_iterator(out_.path())) {
      if (entry.path().extension() == ".part") part = entry.path();
    }
    WriteFile(lock, "");
    ExpectUpToDate();
    EXPECT_FALSE(std::filesystem::exists(lock));
    EXPECT_TRUE(std::filesystem::exists(part));  // Somebody still writes it.
  }
  WriteFile(lock, "");
  WriteFile(part, "left");
  ExpectUpToDate();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(out_.path()), {}), 1);
}

TEST_F(IfNeededTest, NeverReplacesWhatIsNotOurs) {
  WriteFile(mp4_, "a film of mine");
  ExpectRefused(" was not made by kxrtc transcode, or not to its end");
  AppendToFile(mp4_, "x");
  ExpectRefused(" was changed after kxrtc transcode made it");
  std::filesystem::resize_file(mp4_, std::filesystem::file_size(mp4_) - 1);
  ExpectRefused(" was not made by kxrtc transcode, or not to its end");
  ExpectUpToDate();
}

TEST_F(IfNeededTest, MissingCaptionsAreMade) {
  kx_testing::TimelineLines().Write(record_);
  ExpectMade();
  const std::string captions = out_.File("out.vtt");
  ExpectMade("--captions " + Quoted(captions));
  ExpectUpToDate("--captions " + Quoted(captions));
  std::filesystem::remove(captions);
  ExpectMade("--captions " + Quoted(captions));
  EXPECT_EQ(ReadFile(captions), "WEBVTT\n");
}

TEST_F(IfNeededTest, CaptionsOfAnEarlierMp4AreMadeAgain) {
  kx_testing::TimelineLines().Write(record_);
  const std::string captions = out_.File("out.vtt");
  ExpectMade("--captions " + Quoted(captions));
  kx_testing::TimelineLines().Join(1, 1, "Ada").Write(record_);
  ExpectMade();
  std::filesystem::last_write_time(
      captions, std::filesystem::last_write_time(mp4_) - std::chrono::milliseconds(1));
  ExpectMade("--captions " + Quoted(captions));
  ExpectUpToDate("--captions " + Quoted(captions));
  std::filesystem::remove(mp4_);
  ExpectMade("--captions " + Quoted(captions));
}

TEST_F(IfNeededTest, OnlyCaptionsAreReplacedByCaptions) {
  kx_testing::TimelineLines().Write(record_);
  ExpectMade();
  const std::string notes = out_.File("notes.txt");
  WriteFile(notes, "WEB");
  const ShellResult result = Transcode("--captions " + Quoted(notes));
  EXPECT_EQ(result.exit_status, kRefused);
  EXPECT_EQ(result.errors, "kxrtc: " + notes + " already exists; --force replaces it\n");
  EXPECT_EQ(ReadFile(notes), "WEB");
  ExpectUpToDate();
  ExpectMade("--force --captions " + Quoted(notes));
}

TEST_F(IfNeededTest, ARecordThatEndsEarlyKeepsItsStatus) {
  const std::string index = record_.File("SpeakeRecord.index");
  std::filesystem::resize_file(index, std::filesystem::file_size(index) - 12);
  EXPECT_EQ(Transcode().exit_status, kCutShort);
  EXPECT_EQ(Transcode().exit_status, kCutShort);
  EXPECT_EQ(Transcode("--json").output,
            R"({"event":"up_to_date","exit_status":7,"output":")" + mp4_ + "\",\"version\":1}\n");
  EXPECT_EQ(Transcode("--accept-cut").exit_status, kOk);
  EXPECT_EQ(Transcode("--accept-cut --check-sound").exit_status, kOk);
}

TEST_F(IfNeededTest, LeavesWhatAnotherProcessMakes) {
  kxrtc_host::OutputLock lock;
  ASSERT_EQ(lock.Lock(mp4_), kxrtc_host::OutputLock::Result::kLocked);
  const std::string busy = mp4_ + " is being made by process " + std::to_string(getpid()) + "\n";
  ShellResult result = Transcode();
  EXPECT_EQ(result.exit_status, kBusy);
  EXPECT_EQ(result.errors, "kxrtc: " + busy);
  result = RunKxrtc("transcode --force --json " + Quoted(record_.path()) + " " + Quoted(mp4_));
  EXPECT_EQ(result.exit_status, kBusy);
  EXPECT_THAT(result.output, HasSubstr("\"exit_status\":75"));
  EXPECT_FALSE(std::filesystem::exists(mp4_));
  lock.Unlock();
  ExpectMade();
  // What is up to date needs no lock.
  ASSERT_EQ(lock.Lock(mp4_), kxrtc_host::OutputLock::Result::kLocked);
  ExpectUpToDate();
  lock.Unlock();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(out_.path()), {}), 1);
}

}  // namespace
