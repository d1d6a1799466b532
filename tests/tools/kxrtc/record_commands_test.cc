// kxrtc info, dump, verify, repair and report as somebody at a terminal meets them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "kxrtc/recording/speaker_record_format.h"
#include "tests/testing/conference_record.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/shell.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RecordBuilder;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

ShellResult Kxrtc(const std::string& arguments) {
  return RunShell(Quoted(KXRTC_PROGRAM) + " " + arguments);
}

Json::Value Parsed(const std::string& text) {
  Json::Value root;
  std::string problem;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &problem)) << problem;
  return root;
}

TEST(RecordCommandsTest, InfoTellsWhatARecordHolds) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const ShellResult result = Kxrtc("info " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_THAT(result.output,
              AllOf(HasSubstr("0.120000 s in 2 sessions"), HasSubstr("640x360 Baseline level 3.0"),
                    HasSubstr("AAC (object type 2), 48000 Hz, 2 channels"), HasSubstr("desktop")));
  const Json::Value document = Parsed(Kxrtc("info --json " + Quoted(dir.path())).output);
  EXPECT_EQ(document["document"].asString(), "kxrtc.info");
  EXPECT_EQ(document["version"].asInt(), 1);
  EXPECT_EQ(document["session_count"].asInt(), 2);
}

TEST(RecordCommandsTest, ExplainWhereThereIsNoRecord) {
  const TempDir dir;
  for (const char* command : {"info ", "dump ", "report "}) {
    const ShellResult result =
        Kxrtc(command + Quoted(dir.path()) +
              (command == std::string("report ") ? " " + Quoted(dir.File("page.html")) : ""));
    EXPECT_EQ(result.exit_status, 3) << command;
    EXPECT_THAT(result.errors, HasSubstr("kxrtc: ")) << command;
  }
  EXPECT_EQ(Kxrtc("verify " + Quoted(dir.path())).exit_status, 13);
  EXPECT_EQ(Kxrtc("repair " + Quoted(dir.path()) + " " + Quoted(dir.File("new"))).exit_status, 3);
}

TEST(RecordCommandsTest, EstimateTellsTheSizeAsAnObject) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const ShellResult result = Kxrtc("estimate --json " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  const Json::Value document = Parsed(result.output);
  EXPECT_THAT(document.getMemberNames(), ElementsAre("document", "estimated_bytes", "version"));
  EXPECT_TRUE(document["estimated_bytes"].isInt64());
}

TEST(RecordCommandsTest, DumpShowsOnlyTheTimesAskedFor) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const ShellResult result = Kxrtc("dump --from 2 --to 2.002 " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.output, AllOf(HasSubstr("start"), HasSubstr("640x360 rotation=0")));
  EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 4);
  EXPECT_EQ(Kxrtc("dump --from noon " + Quoted(dir.path())).exit_status, 2);
}

TEST(RecordCommandsTest, DumpRefusesTimesThatContradictEachOther) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const ShellResult result = Kxrtc("dump --from 5 --to 1 " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "kxrtc: --from 5 is later than --to 1\n"
            "Run kxrtc dump --help for more information.\n");
  EXPECT_EQ(Kxrtc("dump --from 2 --to 2 " + Quoted(dir.path())).exit_status, 0);
  EXPECT_EQ(Kxrtc("dump --from '' " + Quoted(dir.path())).exit_status, 2);
}

TEST(RecordCommandsTest, DumpSaysThatAnIndexIsTorn) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).RawIndex("torn").Write();
  const ShellResult result = Kxrtc("dump " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 7);
  EXPECT_THAT(result.output, HasSubstr("truncated"));
  EXPECT_EQ(result.errors, "kxrtc: the index contains bytes that are not a record\n");
}

TEST(RecordCommandsTest, SayThatStandardOutputIsFull) {
  const TempDir dir;
  const TempDir target;
  kx_testing::TwoSessions(dir).Write();
  const std::string folder = Quoted(dir.path());
  for (const std::string& arguments :
       {"info " + folder, "info --json " + folder, "dump " + folder, "verify " + folder,
        "estimate " + folder, "repair " + folder + " " + Quoted(target.File("new"))}) {
    const ShellResult result = Kxrtc(arguments + " > /dev/full");
    EXPECT_EQ(result.exit_status, 4) << arguments;
    EXPECT_EQ(result.errors, "kxrtc: cannot write to standard output\n") << arguments;
  }
}

TEST(RecordCommandsTest, InfoTellsThatThereAreFindings) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).RawVideo("stale").Write();
  EXPECT_THAT(Kxrtc("info " + Quoted(dir.path())).output,
              HasSubstr("0 errors, 1 warning (kxrtc verify lists them)"));
  const ShellResult result = Kxrtc("info --json " + Quoted(dir.path()));
  EXPECT_EQ(Parsed(result.output)["finding_counts"]["data.stale-tail"].asInt(), 1);
}

TEST(RecordCommandsTest, ReportNeverReplacesWhatItIsMadeOf) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  kx_testing::WriteFile(dir.File("v.mp4"), "video");
  const std::string folder = Quoted(dir.path());
  for (const char* extension : {".index", ".264", ".aac", ".desc"}) {
    const std::string file = dir.File(std::string("SpeakeRecord") + extension);
    const std::string before = kx_testing::ReadFile(file);
    const ShellResult result = Kxrtc("report " + folder + " " + Quoted(file));
    EXPECT_EQ(result.exit_status, 5);
    EXPECT_EQ(result.errors, "kxrtc: " + file + " is a file of the record\n");
    EXPECT_EQ(kx_testing::ReadFile(file), before);
  }
  const std::string missing = dir.File("SpeakeRecord.264");
  std::filesystem::remove(missing);
  EXPECT_EQ(Kxrtc("report " + folder + " " + Quoted(missing)).errors,
            "kxrtc: " + missing + " is a file of the record\n");
  EXPECT_FALSE(std::filesystem::exists(missing));
  const std::string video = dir.File("v.mp4");
  const ShellResult result =
      Kxrtc("report " + folder + " " + Quoted(video) + " --video " + Quoted(video));
  EXPECT_EQ(result.exit_status, 5);
  EXPECT_EQ(result.errors, "kxrtc: " + video + " is the video itself\n");
  EXPECT_EQ(kx_testing::ReadFile(video), "video");
}

TEST(RecordCommandsTest, VerifyTellsItsVerdictByItsStatus) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  ShellResult result = Kxrtc("verify " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.output, HasSubstr("clean: 0 errors, 0 warnings"));
  kx_testing::TwoSessions(dir).RawVideo("stale").Write();
  result = Kxrtc("verify " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 12);
  EXPECT_THAT(result.output, HasSubstr("data.stale-tail"));
  kx_testing::TwoSessions(dir).RawIndex("stale").Write();
  result = Kxrtc("verify --json " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 13);
  EXPECT_EQ(Parsed(result.output)["verdict"].asString(), "error");
}

TEST(RecordCommandsTest, ARecordWithoutSoundIsTold) {
  const TempDir dir;
  RecordBuilder(dir).Start(0).Channel(1, 2).Key(2).Stop(50000).Write();
  EXPECT_THAT(Kxrtc("verify " + Quoted(dir.path())).output,
              HasSubstr("\n  the record contains no sound\n"));
  EXPECT_THAT(Kxrtc("info " + Quoted(dir.path())).output,
              AllOf(HasSubstr("of unknown size: there is no sound to estimate it by\n"),
                    HasSubstr(" in 1 session\n")));
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), "{");
  EXPECT_THAT(Kxrtc("info " + Quoted(dir.path())).output,
              HasSubstr("of unknown size: the descriptor is missing or not valid\n"));
}

TEST(RecordCommandsTest, ADashIsNoNameOfAFile) {
  for (const char* arguments :
       {"info -", "dump -", "verify -", "estimate -", "repair - new", "repair . -", "report . -",
        "report . a.html --video -", "transcode . -", "transcode - a.mp4", "h264 -",
        "h264 a.264 --rewrite-vui -", "record - new", "record a.json -", "info . --log-file -"}) {
    const ShellResult result = Kxrtc(arguments);
    EXPECT_EQ(result.exit_status, 2) << arguments;
    EXPECT_THAT(result.errors, HasSubstr("- is standard input or output elsewhere, but not here"))
        << arguments;
  }
  const TempDir dir;
  const ShellResult result =
      RunShell("cd " + Quoted(dir.path()) + " && " + Quoted(KXRTC_PROGRAM) + " info ./-");
  EXPECT_EQ(result.exit_status, 3);
}

TEST(RecordCommandsTest, EveryTimeHasOneForm) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const std::string whole = Kxrtc("dump --from 1.05 --to 62 " + Quoted(dir.path())).output;
  for (const char* range :
       {"--from '1.050000 s' --to 1:02", "--from 0:00:01.05 --to 0:01:02.000"}) {
    EXPECT_EQ(Kxrtc(std::string("dump ") + range + " " + Quoted(dir.path())).output, whole);
  }
  for (const char* wrong : {"nan", "1e3", "0", "-1", "700000", "1:60", "''", "200:00:00"}) {
    const ShellResult result = Kxrtc(std::string("record no.json new --duration ") + wrong);
    EXPECT_EQ(result.exit_status, 2) << wrong;
  }
  for (const char* right : {"2.5", "0:02.5", "0:00:02.5", "168:00:00"}) {
    // The scenario is missing, so nothing else is wrong.
    EXPECT_EQ(Kxrtc(std::string("record no.json new --duration ") + right).exit_status, 9) << right;
  }
}

TEST(RecordCommandsTest, TheExampleOfRecordWorksAsItStands) {
  const std::string help = Kxrtc("record --help").output;
  const std::string mark = "has more):\n";
  const size_t begin = help.find(mark) + mark.size();
  const std::string example = help.substr(begin, help.find("\n\n", begin) - begin);
  const TempDir dir;
  const ShellResult result = RunShell("cd " + Quoted(dir.path()) + " && kxrtc() { " +
                                      Quoted(KXRTC_PROGRAM) + " \"$@\"; } && set -e\n" + example);
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("complete, at the end: "));
  EXPECT_EQ(Kxrtc("verify " + Quoted(dir.File("monday"))).exit_status, 0);
}

TEST(RecordCommandsTest, VerifyExaminesTheSoundUnlessItMustBeQuick) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, 0);
  for (int i = 1; i <= 5; ++i) builder.Audio(i * 21333, kx_testing::WithAdts("damaged"));
  builder.Stop(200000).Write();
  ShellResult result = Kxrtc("verify " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 12);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.output,
              AllOf(HasSubstr("audio.undecodable "), HasSubstr(" 5 audio frames in a row"),
                    HasSubstr("\nnot clean: 0 errors, 1 warning\n")));
  EXPECT_TRUE(
      Parsed(Kxrtc("verify --json " + Quoted(dir.path())).output)["sound_examined"].asBool());
  result = Kxrtc("verify --quick " + Quoted(dir.path()));
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.output, HasSubstr("\nclean: 0 errors, 0 warnings; sound not examined\n"));
  result = Kxrtc("verify --quick --json " + Quoted(dir.path()));
  EXPECT_FALSE(Parsed(result.output)["sound_examined"].asBool());
}

struct HeadlineCase {
  const char* name;
  void (*add_session)(RecordBuilder*);
  uintmax_t cut_bytes;  // At the end of the index.
  const char* headline;
};

void PrintTo(const HeadlineCase& headline_case, std::ostream* out) { *out << headline_case.name; }

class VerifyHeadlineTest : public ::testing::TestWithParam<HeadlineCase> {};

TEST_P(VerifyHeadlineTest, SaysHowMuchOfTheRecordTheMp4Contains) {
  const TempDir dir;
  RecordBuilder builder(dir);
  GetParam().add_session(&builder);
  builder.Write();
  const std::string index = dir.File("SpeakeRecord.index");
  std::filesystem::resize_file(index, std::filesystem::file_size(index) - GetParam().cut_bytes);
  EXPECT_THAT(Kxrtc("verify " + Quoted(dir.path())).output,
              HasSubstr(std::string("\nMP4: ") + GetParam().headline));
}

constexpr uintmax_t kStopRecordBytes = kxrtc::kSpeakerRecordHeaderSize;

void Sound(RecordBuilder* record) { record->Start(0).Audio(21333).Stop(30000); }

INSTANTIATE_TEST_SUITE_P(
    All, VerifyHeadlineTest,
    ::testing::Values(
        HeadlineCase{"Whole", Sound, 0, "complete\n"},
        HeadlineCase{"NoStopRecord", Sound, kStopRecordBytes,
                     "incomplete: the index ends without a stop record, as after a crash of the "
                     "recording program; the MP4 contains everything before that place\n"},
        HeadlineCase{"PartOfTheStopRecord", Sound, 1,
                     "incomplete: the index ends inside a record, "},
        HeadlineCase{"NoFrame", [](RecordBuilder* record) { record->Start(0).Stop(30000); }, 0,
                     "not possible: the record in "},
        HeadlineCase{"NoStopRecordAndNoDecodablePicture",
                     [](RecordBuilder* record) {
                       record->Start(0).Channel(1, 2).Attributes(2, 640, 360).Key(3).Stop(50000);
                     },
                     kStopRecordBytes, "not possible: the record in "},
        HeadlineCase{"NoStopRecordAndNoFrame",
                     [](RecordBuilder* record) { record->Start(0).Stop(30000); }, kStopRecordBytes,
                     "not possible: the record in "},
        HeadlineCase{"MissingFrame",
                     [](RecordBuilder* record) {
                       record->Start(0).Audio(21333);
                       record->DataRecord(kxrtc::kAudioData, 42666, 1000, 10).Stop(50000);
                     },
                     0, "incomplete: at index offset 36: the frame is not in its file; "},
        HeadlineCase{"NoChannel",
                     [](RecordBuilder* record) {
                       record->Start(0).Audio(21333).Attributes(30000, 640, 360).Stop(50000);
                     },
                     0, "not possible: the record in "},
        HeadlineCase{"Garbage",
                     [](RecordBuilder* record) {
                       record->Start(0).Audio(21333).RawIndex("garbage of any length").Stop(50000);
                     },
                     0, "not possible: the record in "}),
    [](const auto& test) { return test.param.name; });

TEST(RecordCommandsTest, RepairListsWhatItKeptAndLost) {
  const TempDir dir;
  const TempDir target;
  kx_testing::TwoSessions(dir).RawIndex("stale").Write();
  const std::string arguments =
      "repair " + Quoted(dir.path()) + " " + Quoted(target.File("new")) + " --channels 1";
  ShellResult result = Kxrtc(arguments);
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_THAT(result.output,
              AllOf(HasSubstr("CHANGE        OFFSET       RECORDER TIME  WHAT\nlost  "),
                    HasSubstr("kept 2 sessions"), HasSubstr("1 audio channel (from the option)")));
  result = Kxrtc(arguments);
  EXPECT_EQ(result.exit_status, 5);
  EXPECT_THAT(result.errors, HasSubstr("already exists"));
  result = Kxrtc("repair --json " + Quoted(dir.path()) + " " + Quoted(target.File("other")));
  EXPECT_EQ(Parsed(result.output)["lost_count"].asInt(), 1);
}

TEST(RecordCommandsTest, RepairTakesOnlyChannelCountsOfAac) {
  const TempDir dir;
  const TempDir target;
  kx_testing::TwoSessions(dir).Write();
  const std::string arguments = "repair " + Quoted(dir.path()) + " " + Quoted(target.File("new"));
  for (const char* count :
       {"0", "7", "9", "99", "4294967295", "4294967297", "-1", "2.5", "two", "''"}) {
    const ShellResult result = Kxrtc(arguments + " --channels " + count);
    EXPECT_EQ(result.exit_status, 2) << count;
    EXPECT_THAT(result.errors, HasSubstr("--channels: ")) << count;
    EXPECT_THAT(result.errors, HasSubstr(": AAC cannot have this number of channels\n")) << count;
  }
  EXPECT_FALSE(std::filesystem::exists(target.File("new")));
  EXPECT_EQ(Kxrtc(arguments + " --channels 8").exit_status, 0);
}

struct StopCase {
  const char* name;
  int signal_number;
  const char* command;
  const char* input = "";  // A file of the record.
  const char* option = nullptr;
};

void PrintTo(const StopCase& stop_case, std::ostream* out) { *out << stop_case.name; }

// Runs the tool with a signal that waits for it from its start on, so that it comes before the end
// without a race. The result is what waitpid() tells.
int RunSignalled(int signal_number, const char* const arguments[], const std::string& errors) {
  const pid_t child = fork();
  if (child == 0) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal_number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    dup2(open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    kill(getpid(), signal_number);
    execv(KXRTC_PROGRAM, const_cast<char* const*>(arguments));
    _exit(1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

class StoppedCommandTest : public testing::TestWithParam<StopCase> {};

TEST_P(StoppedCommandTest, LeavesNothing) {
  const TempDir dir;
  const TempDir target;
  kx_testing::TwoSessions(dir).Write();
  const std::string made = target.File("made");
  const std::string input = dir.path() + GetParam().input;
  std::vector<const char*> arguments = {KXRTC_PROGRAM, GetParam().command, input.c_str()};
  if (GetParam().option != nullptr) arguments.push_back(GetParam().option);
  arguments.insert(arguments.end(), {made.c_str(), nullptr});
  const int status = RunSignalled(GetParam().signal_number, arguments.data(), dir.File("errors"));
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 128 + GetParam().signal_number);
  EXPECT_EQ(kx_testing::ReadFile(dir.File("errors")), "kxrtc: stopped; nothing is written\n");
  EXPECT_TRUE(std::filesystem::is_empty(target.path()));
}

constexpr char kStream[] = "SpeakeRecord.264";
constexpr char kCopy[] = "--rewrite-vui";

INSTANTIATE_TEST_SUITE_P(Cases, StoppedCommandTest,
                         testing::Values(StopCase{"RepairHangUp", SIGHUP, "repair"},
                                         StopCase{"RepairInt", SIGINT, "repair"},
                                         StopCase{"RepairQuit", SIGQUIT, "repair"},
                                         StopCase{"RepairTerm", SIGTERM, "repair"},
                                         StopCase{"ReportHangUp", SIGHUP, "report"},
                                         StopCase{"ReportInt", SIGINT, "report"},
                                         StopCase{"ReportQuit", SIGQUIT, "report"},
                                         StopCase{"ReportTerm", SIGTERM, "report"},
                                         StopCase{"ReportAlarm", SIGALRM, "report"},
                                         StopCase{"CopyHangUp", SIGHUP, "h264", kStream, kCopy},
                                         StopCase{"CopyInt", SIGINT, "h264", kStream, kCopy},
                                         StopCase{"CopyQuit", SIGQUIT, "h264", kStream, kCopy},
                                         StopCase{"CopyTerm", SIGTERM, "h264", kStream, kCopy}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(RecordCommandsTest, NohupLetsRepairGoOn) {
  const TempDir dir;
  const TempDir target;
  kx_testing::TwoSessions(dir).Write();
  const std::string made = target.File("made");
  const char* const arguments[] = {KXRTC_PROGRAM, "repair", dir.path().c_str(), made.c_str(),
                                   nullptr};
  std::signal(SIGHUP, SIG_IGN);
  const int status = RunSignalled(SIGHUP, arguments, dir.File("errors"));
  std::signal(SIGHUP, SIG_DFL);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(std::filesystem::exists(made));
}

class ClosedPipeTest : public testing::TestWithParam<const char*> {};

TEST_P(ClosedPipeTest, EndsTheListingWithTheStatusOfItsSignal) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const ShellResult run = kx_testing::RunShellWithoutReader(Quoted(KXRTC_PROGRAM) + " " +
                                                            GetParam() + " " + Quoted(dir.path()));
  EXPECT_EQ(run.exit_status, 128 + SIGPIPE);
  EXPECT_EQ(run.errors, "");
}

INSTANTIATE_TEST_SUITE_P(Commands, ClosedPipeTest,
                         testing::Values("dump", "info", "verify", "estimate"),
                         [](const auto& param) { return std::string(param.param); });

TEST(RecordCommandsTest, VerifyPredictsTheLengthOfTheMp4) {
  const TempDir dir;
  const TempDir target;
  kx_testing::WriteLongConference(dir, true);
  const Json::Value document = Parsed(Kxrtc("verify --json " + Quoted(dir.path())).output);
  EXPECT_TRUE(document["replay"]["completes"].asBool());
  const std::string mp4 = target.File("out.mp4");
  const ShellResult transcoded = Kxrtc("transcode " + Quoted(dir.path()) + " " + Quoted(mp4));
  ASSERT_EQ(transcoded.exit_status, 0) << transcoded.errors;
  const ShellResult probe =
      RunShell("ffprobe -v error -show_entries format=duration -of csv=p=0 " + Quoted(mp4));
  EXPECT_NEAR(std::stod(probe.output), document["replay"]["duration_us"].asDouble() / 1e6, 0.1);
}

}  // namespace
