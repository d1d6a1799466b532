// The log of --log-file never takes the place of a file that the subcommand reads or writes.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"

namespace {

using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::HasSubstr;

struct LogCase {
  const char* name;
  const char* arguments;  // RECORD and OUT stand for the folders.
  const char* log;
  const char* reason;
};

void PrintTo(const LogCase& log_case, std::ostream* out) { *out << log_case.name; }

std::string Filled(std::string text, const std::string& word, const std::string& path) {
  for (size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += path.size()) {
    text.replace(at, word.size(), path);
  }
  return text;
}

class LogOptionTest : public ::testing::TestWithParam<LogCase> {
 protected:
  void SetUp() override {
    kx_testing::TwoSessions(record_).Write();
    std::filesystem::create_symlink(record_.File("SpeakeRecord.desc"), out_.File("link"));
    std::filesystem::create_symlink(out_.File("out.html"), out_.File("page"));
    WriteFile(out_.File("v.mp4"), "video");
    WriteFile(out_.File("s.json"),
              R"({"participants":[{"user_id":1,"camera":"v.mp4","microphone":"file:)" +
                  out_.File("m.aac") + R"(","events":[]}]})");
  }

  std::string InFolders(const std::string& text) const {
    return Filled(Filled(text, "RECORD", record_.path()), "OUT", out_.path());
  }

  TempDir record_;
  TempDir out_;
};

TEST_P(LogOptionTest, IsRefusedAndTheFileIsKept) {
  const auto before = kx_testing::ReadRecord(record_.path());
  const std::string log = InFolders(GetParam().log);
  const ShellResult result =
      RunKxrtc(InFolders(GetParam().arguments) + " --log-file " + Quoted(log));
  EXPECT_EQ(result.exit_status, 2);
  EXPECT_THAT(result.errors, HasSubstr("--log-file: " + log + GetParam().reason));
  EXPECT_EQ(kx_testing::ReadRecord(record_.path()), before);
  EXPECT_EQ(ReadFile(out_.File("v.mp4")), "video");
  EXPECT_FALSE(std::filesystem::exists(out_.File("out.html")));
}

constexpr char kOfTheRecord[] = " is a file of the record";

INSTANTIATE_TEST_SUITE_P(
    Cases, LogOptionTest,
    ::testing::Values(
        LogCase{"Verify", "verify RECORD", "RECORDSpeakeRecord.index", kOfTheRecord},
        LogCase{"Info", "info RECORD", "RECORDSpeakeRecord.264", kOfTheRecord},
        LogCase{"Dump", "dump RECORD", "RECORD./SpeakeRecord.aac", kOfTheRecord},
        LogCase{"Estimate", "estimate RECORD", "OUTlink", kOfTheRecord},
        LogCase{"Repair", "repair RECORD OUTnew", "OUTlink", kOfTheRecord},
        LogCase{"Transcode", "transcode RECORD OUTa.mp4", "OUTlink", kOfTheRecord},
        LogCase{"Report", "report RECORD OUTa.html", "OUTlink", kOfTheRecord},
        LogCase{"Record", "record OUTno.json RECORD", "OUTlink", kOfTheRecord},
        LogCase{"TranscodeOutput", "transcode RECORD OUTv.mp4 --force", "OUTv.mp4",
                " is also given as OUT.mp4"},
        LogCase{"ReportOutput", "report RECORD OUTpage", "OUTout.html",
                " is also given as OUT.html"},
        LogCase{"ReportVideo", "report RECORD OUTpage --video OUTv.mp4", "OUTv.mp4",
                " is also given as --video"},
        LogCase{"Scenario", "record OUTv.mp4 OUTnew", "OUTv.mp4", " is also given as SCENARIO"},
        LogCase{"PlayedMedium", "record OUTs.json OUTnew", "OUTv.mp4", " is played by "},
        LogCase{"PlayedAddress", "record OUTs.json OUTnew", "OUTm.aac", " is played by "},
        LogCase{"Stream", "h264 RECORDSpeakeRecord.264", "RECORDSpeakeRecord.264",
                " is also given as FILE"},
        LogCase{"StreamCopy", "h264 RECORDSpeakeRecord.264 --rewrite-vui OUTpage", "OUTout.html",
                " is also given as --rewrite-vui"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(LogOptionFolderTest, NeverWaitsForTheReaderOfAFifo) {
  const TempDir record;
  kx_testing::TwoSessions(record).Write();
  const std::string fifo = record.File("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const ShellResult run =
      RunKxrtc("verify " + Quoted(record.path()) + " --log-file " + Quoted(fifo));
  EXPECT_EQ(run.exit_status, 2);
  EXPECT_THAT(run.errors, HasSubstr("--log-file: cannot write " + fifo));
}

TEST(LogOptionFolderTest, IsKeptAwayFromARecordInTheWorkingFolder) {
  const TempDir record;
  kx_testing::TwoSessions(record).Write();
  const auto before = kx_testing::ReadRecord(record.path());
  const ShellResult run =
      kx_testing::RunShell("cd " + Quoted(record.path()) + " && " + Quoted(KXRTC_PROGRAM) +
                           " info '' --log-file SpeakeRecord.aac");
  EXPECT_EQ(run.exit_status, 2);
  EXPECT_EQ(kx_testing::ReadRecord(record.path()), before);
}

TEST(LogOptionFolderTest, MayLieInTheFolderOfTheRecord) {
  const TempDir record;
  kx_testing::TwoSessions(record).Write();
  const std::string log = record.File("log");
  EXPECT_EQ(RunKxrtc("verify " + Quoted(record.path()) + " --log-file " + Quoted(log)).exit_status,
            0);
  EXPECT_TRUE(std::filesystem::exists(log));
}

}  // namespace
