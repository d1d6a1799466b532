// Records that nobody may write: on a read-only medium, or of somebody else.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using ::testing::HasSubstr;
using ::testing::Not;

class ReadOnlyRecordTest : public ::testing::Test {
 protected:
  ReadOnlyRecordTest() {
    kx_testing::ConferenceRecord(record_, kx_testing::MakeAudio(100, 2, true))
        .Start()
        .Speaks(kx_testing::kCamera, {"Ada", 320, 180, "main", 24, 24})
        .AudioOnly(300)
        .Stop()
        .builder()
        .Write();
    std::filesystem::permissions(out_.path(), std::filesystem::perms{0777});
  }

  void MakeReadOnly() {
    std::filesystem::permissions(record_.path(), std::filesystem::perms{0755});
    for (const auto& file : std::filesystem::directory_iterator(record_.path())) {
      std::filesystem::permissions(file.path(), std::filesystem::perms{0444});
    }
  }

  static ShellResult RunAsNobody(const std::string& command) {
    const std::string id = "65534";
    return RunShell("setpriv --reuid " + id + " --regid " + id + " --clear-groups sh -c " +
                    Quoted(command));
  }

  // Every command that reads a record, one after the other; prints each exit status.
  std::string Commands() const {
    std::string script = "cd " + Quoted(out_.path());
    for (const char* arguments :
         {"transcode --quiet --video copy RECORD copy.mp4",
          "transcode --quiet --preset ultrafast RECORD encode.mp4",
          "transcode --quiet --if-needed --video copy RECORD copy.mp4", "verify RECORD",
          "estimate RECORD", "info RECORD", "dump RECORD", "report RECORD report.html",
          "bundle RECORD bundle.tar.gz", "list RECORD"}) {
      std::string command = arguments;
      command.replace(command.find("RECORD"), 6, Quoted(record_.path()));
      script += "; " + Quoted(KXRTC_PROGRAM) + " " + command + " >> " + "told; echo $?";
    }
    return script;
  }

  void ExpectAllDone(const ShellResult& run) {
    EXPECT_EQ(run.output, "0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n");
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(record_.path()), {}), 4);
    const std::string reference = out_.File("reference.mp4");
    EXPECT_EQ(RunKxrtc("transcode --video copy " + record_.path() + " " + reference).exit_status,
              0);
    EXPECT_TRUE(ReadFile(reference) == ReadFile(out_.File("copy.mp4")));
  }

  TempDir record_;
  TempDir out_;
};

TEST_F(ReadOnlyRecordTest, OneOnAReadOnlyMediumIsReadWithoutACopy) {
  const std::string folder = Quoted(record_.path());
  const std::string script = "mount --bind " + folder + " " + folder +
                             " && mount -o remount,bind,ro " + folder + " || exit 99; " +
                             Commands();
  const ShellResult run = RunShell("unshare --map-root-user --mount sh -c " + Quoted(script));
  if (run.exit_status != 0) GTEST_SKIP() << "this system mounts nothing for tests: " << run.errors;
  ExpectAllDone(run);
  EXPECT_THAT(ReadFile(out_.File("told")), HasSubstr("replay.read-only"));
}

TEST_F(ReadOnlyRecordTest, OneOfSomebodyElseIsReadWithoutACopy) {
  if (::getuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  MakeReadOnly();
  ExpectAllDone(RunAsNobody(Commands()));
  EXPECT_THAT(ReadFile(out_.File("told")), HasSubstr("replay.read-only"));
}

TEST_F(ReadOnlyRecordTest, NothingIsToldOfARecordThatMayBeWritten) {
  ExpectAllDone(RunShell(Commands()));
  EXPECT_THAT(ReadFile(out_.File("told")), Not(HasSubstr("replay.read-only")));
}

TEST_F(ReadOnlyRecordTest, ADamagedOneEndsAsWhereItMayBeWritten) {
  if (::getuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  std::filesystem::resize_file(record_.File("SpeakeRecord.index"),
                               std::filesystem::file_size(record_.File("SpeakeRecord.index")) - 5);
  const ShellResult as_owner =
      RunKxrtc("transcode --quiet --video copy " + record_.path() + " " + out_.File("owner.mp4"));
  EXPECT_EQ(as_owner.exit_status, 7);
  MakeReadOnly();
  const ShellResult as_nobody =
      RunAsNobody(Quoted(KXRTC_PROGRAM) + " transcode --quiet --video copy " + record_.path() +
                  " " + out_.File("nobody.mp4"));
  EXPECT_EQ(as_nobody.exit_status, 7);
  EXPECT_THAT(as_nobody.errors, HasSubstr("the index ends inside a record"));
  EXPECT_TRUE(ReadFile(out_.File("nobody.mp4")) == ReadFile(out_.File("owner.mp4")));
}

}  // namespace
