// What a user meets when a transcoding does not go well: message, exit status, nothing left behind.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/testing/conference_record.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RecordBuilder;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class TranscodeFailuresTest : public ::testing::Test {
 protected:
  ShellResult Transcode(const std::string& options = "--video copy") {
    return RunKxrtc("transcode --quiet " + options + " " + record_.path() + " " + mp4_);
  }
  // A second of filler and sound.
  RecordBuilder Second() {
    RecordBuilder builder(record_);
    builder.Start(0).Channel(1, 0);
    int64_t time_us = 0;
    for (const std::string& frame : kx_testing::MakeAudio(47, 2, true)) {
      builder.Audio(time_us += 21333, frame);
    }
    return builder;
  }
  std::vector<std::string> Left() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(out_.path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TempDir record_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
};

TEST_F(TranscodeFailuresTest, AnExistingFileIsKeptUnlessForced) {
  Second().Stop(2000000).Write();
  WriteFile(mp4_, "mine");
  const ShellResult refused = Transcode();
  EXPECT_EQ(refused.exit_status, 5);
  EXPECT_EQ(refused.errors, "kxrtc: " + mp4_ + " already exists; --force replaces it\n");
  EXPECT_EQ(ReadFile(mp4_), "mine");
  EXPECT_EQ(Transcode("--video copy --force").exit_status, 0);
  EXPECT_GT(std::filesystem::file_size(mp4_), 1000u);
  EXPECT_THAT(Left(), ElementsAre("out.mp4"));
}

TEST_F(TranscodeFailuresTest, NothingButAFileIsReplacedByForce) {
  Second().Stop(2000000).Write();
  std::filesystem::create_directory(mp4_);
  EXPECT_EQ(Transcode().errors, "kxrtc: " + mp4_ + " is a folder\n");
  std::filesystem::remove(mp4_);
  std::filesystem::create_symlink("/dev/null", mp4_);
  EXPECT_EQ(Transcode().errors, "kxrtc: " + mp4_ + " is not a regular file\n");
}

TEST_F(TranscodeFailuresTest, ALogThatIsLostIsTold) {
  Second().Stop(2000000).Write();
  const std::string message = "kxrtc: the log in /dev/full is incomplete: cannot write it\n";
  const ShellResult run = Transcode("--video copy --log-file /dev/full");
  EXPECT_EQ(run.exit_status, 4);
  EXPECT_EQ(run.errors, message);
  EXPECT_THAT(Left(), ElementsAre("out.mp4"));
  // The status of a failure stays.
  const ShellResult refused = Transcode("--video copy --log-file /dev/full");
  EXPECT_EQ(refused.exit_status, 5);
  EXPECT_EQ(refused.errors, "kxrtc: " + mp4_ + " already exists; --force replaces it\n" + message);
}

// Both records are cut short as well: by a missing stop record, and by a missing frame.
TEST_F(TranscodeFailuresTest, AFailedReadIsNoEndOfTheRecord) {
  constexpr kx_testing::FailingCall kLargeReads = {SYS_read, EIO, 2, 0x20000};
  for (const bool names_missing_frame : {false, true}) {
    RecordBuilder builder(record_);
    builder.Start(0).Channel(1, 0);
    const std::vector<std::string> sound = kx_testing::MakeAudio(47, 2, true);
    int64_t time_us = 0;
    while (builder.audio().size() < 200000) {
      for (const std::string& frame : sound) builder.Audio(time_us += 21333, frame);
    }
    if (names_missing_frame) {
      builder.DataRecord(kx_testing::kAudioRecord, time_us + 21333, builder.audio().size(), 99);
    }
    builder.Stop(time_us + 30000).Write();
    const std::string index = record_.File("SpeakeRecord.index");
    if (!names_missing_frame) std::filesystem::resize_file(index, builder.index().size() - 12);
    ShellResult failed;
    if (!RunWithFailingCall(kLargeReads, [&] { failed = Transcode(); })) GTEST_SKIP();
    EXPECT_EQ(failed.exit_status, 3);
    EXPECT_THAT(failed.errors, HasSubstr("kxrtc: cannot read the record in " + record_.path() +
                                         " to its end (failed in video_file_.Read): its files were "
                                         "changed, their disk failed, or there is not enough "
                                         "memory"));
    EXPECT_THAT(Left(), IsEmpty());
    EXPECT_EQ(Transcode().exit_status, 7);
    std::filesystem::remove(mp4_);
  }
}

// Neither does the sound say that there is more, nor the text of the failure.
TEST_F(TranscodeFailuresTest, AFailedReadOfTheIndexIsNoEndOfPictures) {
  constexpr kx_testing::FailingCall kLargeReads = {SYS_read, EIO, 2, 0x20000};
  RecordBuilder builder(record_);
  builder.Start(0).Channel(1, kx_testing::kCamera).Attributes(2, 640, 360).Delta(3);
  int64_t time_us = 4;
  builder.Video(time_us, kx_testing::KeyFrame640x360());
  while (builder.index().size() < 200000) builder.Delta(time_us += 40000);
  builder.Stop(time_us + 1).Write();
  std::filesystem::resize_file(record_.File("SpeakeRecord.index"), builder.index().size() - 12);
  ShellResult failed;
  if (!RunWithFailingCall(kLargeReads, [&] { failed = Transcode(); })) GTEST_SKIP();
  EXPECT_EQ(failed.exit_status, 3);
  EXPECT_EQ(failed.errors,
            "kxrtc: cannot read the record in " + record_.path() +
                " to its end (failed to read VideoDataRecord): its files were changed, their "
                "disk failed, or there is not enough memory\n");
  EXPECT_THAT(Left(), IsEmpty());
  EXPECT_EQ(Transcode().exit_status, 7);
}

TEST_F(TranscodeFailuresTest, AMissingFolderIsNamed) {
  Second().Stop(2000000).Write();
  mp4_ = out_.File("missing/out.mp4");
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 5);
  EXPECT_EQ(run.errors, "kxrtc: cannot create a file in " + out_.File("missing/") +
                            ": No such file or directory\n");
}

TEST_F(TranscodeFailuresTest, TheRecordItselfIsNeverReplaced) {
  Second().Stop(2000000).Write();
  mp4_ = record_.File("SpeakeRecord.aac");
  const std::string before = ReadFile(mp4_);
  const ShellResult run = Transcode("--video copy --force");
  EXPECT_EQ(run.exit_status, 5);
  EXPECT_EQ(run.errors, "kxrtc: " + mp4_ + " is a file of the record\n");
  EXPECT_EQ(ReadFile(mp4_), before);
}

TEST_F(TranscodeFailuresTest, ARecordThatCannotBeOpenedIsToldWithTheCause) {
  EXPECT_EQ(Transcode().errors, "kxrtc: cannot open the record in " + record_.path() +
                                    ": the folder contains no record\n");
  Second().Stop(2000000).Write();
  WriteFile(record_.File("SpeakeRecord.desc"), "no document");
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 3);
  EXPECT_EQ(run.errors,
            "kxrtc: cannot open the record in " + record_.path() + ": " +
                record_.File("SpeakeRecord.desc") +
                ": the descriptor is not a JSON document: line 1, column 1: syntax error: value, "
                "object or array expected; kxrtc repair makes a new descriptor\n");
  EXPECT_THAT(Left(), IsEmpty());
}

TEST_F(TranscodeFailuresTest, LinesOfJsonAreValidWhateverThePathHolds) {
  const ShellResult run = RunKxrtc("transcode --json /nowhere\xFF\xC3\xA4 " + mp4_);
  EXPECT_EQ(run.exit_status, 3);
  EXPECT_THAT(run.output, HasSubstr("/nowhere\\ufffd\\u00e4/"));
}

TEST_F(TranscodeFailuresTest, AnEmptyPathIsNoRecord) {
  const ShellResult run = RunKxrtc("transcode --quiet '' " + mp4_);
  EXPECT_EQ(run.exit_status, 3);
  EXPECT_EQ(run.errors,
            "kxrtc: cannot open the record in the working folder: the folder contains no record\n");
  EXPECT_THAT(Left(), IsEmpty());
}

TEST_F(TranscodeFailuresTest, AFileOfTheRecordThatIsNoFileIsNamed) {
  Second().Stop(2000000).Write();
  const std::string audio = record_.File("SpeakeRecord.aac");
  std::filesystem::remove(audio);
  std::filesystem::create_symlink("/dev/zero", audio);
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 3);
  EXPECT_EQ(run.errors, "kxrtc: cannot open the record in " + record_.path() + ": " + audio +
                            ": not a regular file\n");
}

TEST_F(TranscodeFailuresTest, ADamagedRecordLeavesNothing) {
  Second().RawIndex("\xEE\xDD\xCC\x05 eight b").Stop(2000000).Write();
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_THAT(run.errors, HasSubstr("kxrtc: the record in " + record_.path() + " is damaged ("));
  EXPECT_THAT(run.errors, HasSubstr("); nothing is written; kxrtc repair repairs it\n"));
  EXPECT_THAT(Left(), IsEmpty());
}

// Not "nothing to play": repair gets the rest out of it.
TEST_F(TranscodeFailuresTest, ARecordWhoseFirstFrameIsMissingIsDamaged) {
  RecordBuilder builder(record_);
  builder.Start(0).Channel(1, 2).DataRecord(0xEEDDCC06, 2, 1000000, 100);
  for (const std::string& frame : kx_testing::MakeAudio(10, 2, true)) builder.Audio(3, frame);
  builder.Stop(2000000).Write();
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_EQ(run.errors,
            "kxrtc: the record in " + record_.path() +
                " is damaged (at index offset 28: the frame is not in its file); nothing "
                "is written; kxrtc repair repairs it\n");
  EXPECT_THAT(Left(), IsEmpty());
}

TEST_F(TranscodeFailuresTest, NoRepairIsPromisedWhereNothingIsWhole) {
  RecordBuilder(record_).RawIndex(std::string(1000, '\0')).Write();
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_THAT(run.errors, ::testing::EndsWith("); nothing is written\n"));
}

TEST_F(TranscodeFailuresTest, AnUnknownSubcommandIsNamed) {
  const ShellResult run = RunKxrtc("transmute record");
  EXPECT_EQ(run.exit_status, 2);
  EXPECT_THAT(run.errors, HasSubstr("kxrtc: there is no subcommand transmute\n"));
}

TEST_F(TranscodeFailuresTest, ARecordWithoutMediaMakesNoFile) {
  RecordBuilder(record_).Start(0).Stop(1).Write();
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 8);
  EXPECT_EQ(run.errors, "kxrtc: the record in " + record_.path() + " contains nothing to play\n");
  EXPECT_THAT(Left(), IsEmpty());
}

constexpr char kNoStop[] =
    "the index ends without a stop record, as after a crash of the recording program; ";
constexpr char kInside[] =
    "the index ends inside a record, as after a crash of the recording program; ";

struct CutCase {
  const char* name;
  const char* file;
  int64_t bytes;  // Added at its end; cut off where negative.
  const char* cause;
  const char* next = "";
};

class CutShortTest : public TranscodeFailuresTest, public ::testing::WithParamInterface<CutCase> {};

TEST_P(CutShortTest, GivesAFileOfEverythingUpToThere) {
  Second().Stop(2000000).Write();
  const std::string path = record_.File(GetParam().file);
  const auto size = static_cast<int64_t>(std::filesystem::file_size(path));
  std::filesystem::resize_file(path, static_cast<uintmax_t>(size + GetParam().bytes));
  for (const char* mode : {"--video copy", "--preset ultrafast --no-hardware --force"}) {
    const ShellResult run = Transcode(mode);
    EXPECT_EQ(run.exit_status, 7);
    EXPECT_EQ(run.errors, "kxrtc: warning: " + (GetParam().cause + mp4_) +
                              " contains everything before that place" + GetParam().next + "\n");
    const ShellResult decode = RunShell("ffmpeg -nostdin -v warning -i " + Quoted(mp4_) +
                                        " -fps_mode passthrough -enc_time_base -1 -f null -");
    EXPECT_EQ(decode.exit_status, 0);
    EXPECT_EQ(decode.errors, "");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CutShortTest,
    ::testing::Values(CutCase{"NoStopRecord", "SpeakeRecord.index", -12, kNoStop},
                      CutCase{"InsideTheStopRecord", "SpeakeRecord.index", -1, kInside},
                      CutCase{"InsideAPayload", "SpeakeRecord.index", -13, kInside},
                      CutCase{"BytesBehindTheStopRecord", "SpeakeRecord.index", 3, kInside},
                      CutCase{"AudioMissing", "SpeakeRecord.aac", -1000,
                              "at index offset 1012: the frame is not in its file; ",
                              ", kxrtc repair also keeps what follows it"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(TranscodeFailuresTest, AFrameThatNoEncoderMakesIsNotRead) {
  constexpr uint32_t kSize = 0xFFFFFFFF;
  RecordBuilder(record_).Start(0).Channel(1, 0).DataRecord(0xEEDDCC07, 2, 0, kSize).Stop(3).Write();
  std::filesystem::resize_file(record_.File("SpeakeRecord.aac"), kSize);  // All of it a hole.
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_EQ(run.errors, "kxrtc: the record in " + record_.path() +
                            " is damaged (at index offset 28: a frame has 4294967295 bytes, the "
                            "limit is 67108864); nothing is written; kxrtc repair repairs it\n");
  EXPECT_THAT(Left(), IsEmpty());
}

TEST_F(TranscodeFailuresTest, AudioOfAnotherKindIsToldAndNothingIsLeft) {
  RecordBuilder builder(record_);
  builder.Start(0).Channel(1, 0);
  for (int i = 1; i < 20; ++i) builder.Audio(i * 21333, std::string(300, '\x7F'));
  builder.Stop(2000000).Write();
  const ShellResult run = Transcode();
  EXPECT_EQ(run.exit_status, 4);
  EXPECT_EQ(run.errors, "kxrtc: the audio is not AAC with 48000 samples a second\n");
  EXPECT_THAT(Left(), IsEmpty());
}

struct UsageCase {
  const char* name;
  const char* arguments;
};

class UsageTest : public ::testing::TestWithParam<UsageCase> {};

TEST_P(UsageTest, IsStatusTwo) {
  const ShellResult run = RunKxrtc(GetParam().arguments);
  EXPECT_EQ(run.exit_status, 2);
  EXPECT_NE(run.errors, "");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UsageTest,
    ::testing::Values(UsageCase{"NoCommand", ""}, UsageCase{"UnknownCommand", "transmogrify"},
                      UsageCase{"NoOutput", "transcode /tmp"},
                      UsageCase{"UnknownMode", "transcode /tmp a.mp4 --video paint"},
                      UsageCase{"UnknownPreset", "transcode /tmp a.mp4 --preset swift"},
                      UsageCase{"DurationIsNoNumber", "record a.json /nowhere --duration nan"},
                      UsageCase{"LevelWithoutFile", "estimate /tmp --log-level info"},
                      UsageCase{"UnknownLevel", "estimate /tmp --log-file l --log-level loud"},
                      UsageCase{"LogThatCannotBeWritten", "estimate /tmp --log-file /nowhere/l"}),
    [](const auto& param) { return std::string(param.param.name); });

class StoppedTest : public TranscodeFailuresTest, public ::testing::WithParamInterface<int> {
 protected:
  // A transcoding that takes far longer than this test gets a signal as soon as it writes. The
  // result is what waitpid() tells.
  int TranscodeAndSignal(int signal_number) {
    kx_testing::WriteLongConference(record_, true);
    const char* arguments[] = {
        KXRTC_PROGRAM,   "transcode", record_.path().c_str(), mp4_.c_str(), "--preset", "veryslow",
        "--no-hardware", "--quiet",   "--log-file",           log_.c_str(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, messages_.c_str(), O_WRONLY | O_CREAT, 0600);
    pid_t child = 0;
    EXPECT_EQ(posix_spawn(&child, KXRTC_PROGRAM, &actions, nullptr,
                          const_cast<char* const*>(arguments), environ),
              0);
    posix_spawn_file_actions_destroy(&actions);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (Left().empty() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    EXPECT_EQ(Left().size(), 1u);
    kill(child, signal_number);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
  }

  std::string log_ = record_.File("log");
  std::string messages_ = record_.File("messages");
};

TEST_P(StoppedTest, LeavesNothing) {
  const int status = TranscodeAndSignal(GetParam());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 128 + GetParam());
  EXPECT_EQ(ReadFile(messages_), "kxrtc: stopped; nothing is written\n");
  EXPECT_THAT(Left(), IsEmpty());
  EXPECT_THAT(ReadFile(log_), HasSubstr("[StopTranscoding]"));
}

TEST_F(StoppedTest, TheNextRunRemovesWhatAKilledOneLeft) {
  ASSERT_TRUE(WIFSIGNALED(TranscodeAndSignal(SIGKILL)));
  EXPECT_EQ(Left().size(), 1u);
  EXPECT_EQ(Transcode().exit_status, 0);
  EXPECT_THAT(Left(), ElementsAre("out.mp4"));
}

INSTANTIATE_TEST_SUITE_P(Signals, StoppedTest, ::testing::Values(SIGHUP, SIGINT, SIGQUIT, SIGTERM),
                         [](const auto& param) { return "Signal" + std::to_string(param.param); });

// It goes on until it prints: the file is complete by then.
TEST_F(TranscodeFailuresTest, AClosedPipeEndsItWithTheStatusOfItsSignal) {
  Second().Stop(2000000).Write();
  const ShellResult run =
      kx_testing::RunShellWithoutReader(Quoted(KXRTC_PROGRAM) + " transcode --video copy " +
                                        Quoted(record_.path()) + " " + Quoted(mp4_));
  EXPECT_EQ(run.exit_status, 128 + SIGPIPE);
  EXPECT_THAT(Left(), ElementsAre("out.mp4"));
}

}  // namespace
