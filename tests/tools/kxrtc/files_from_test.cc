// Paths that kxrtc reads from a list.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using testing::AllOf;
using testing::HasSubstr;

class FilesFromTest : public testing::Test {
 protected:
  FilesFromTest() {
    kx_testing::TwoSessions(good_).Write();
    kx_testing::RecordBuilder(bad_).Start(0).Write();
  }

  const TempDir good_;
  const TempDir bad_;
  const TempDir folder_;
  const std::string list_ = folder_.File("list");
};

TEST_F(FilesFromTest, VerifiesAllAndTellsTheWorst) {
  kx_testing::WriteFile(list_, good_.path() + "\n\n" + bad_.path());
  const ShellResult result = RunKxrtc("verify --quick --files-from " + Quoted(list_));
  const ShellResult good = RunKxrtc("verify --quick " + Quoted(good_.path()));
  const ShellResult bad = RunKxrtc("verify --quick " + Quoted(bad_.path()));
  EXPECT_EQ(result.exit_status, std::max(good.exit_status, bad.exit_status));
  EXPECT_EQ(result.output,
            good_.path() + ":\n" + good.output + "\n" + bad_.path() + ":\n" + bad.output);
}

TEST_F(FilesFromTest, ReadsStandardInputWithZeroBytes) {
  const ShellResult result =
      RunShell("printf '%s\\0%s\\0' " + Quoted(bad_.path()) + " " + Quoted(good_.path()) + " | " +
               Quoted(KXRTC_PROGRAM) + " verify --quick --json --files-from - --null");
  EXPECT_EQ(result.output, RunKxrtc("verify --quick --json " + Quoted(bad_.path())).output +
                               RunKxrtc("verify --quick --json " + Quoted(good_.path())).output);
}

TEST_F(FilesFromTest, AnEmptyListIsClean) {
  kx_testing::WriteFile(list_, "");
  const ShellResult result = RunKxrtc("verify --files-from " + Quoted(list_));
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.output, "");
}

TEST_F(FilesFromTest, SaysWhatIsWrongWithTheList) {
  EXPECT_THAT(RunKxrtc("verify --files-from " + Quoted(list_)).errors,
              HasSubstr(list_ + ": No such file or directory"));
  kx_testing::WriteFile(list_, std::string(5000, 'x'));
  const ShellResult result = RunKxrtc("verify --files-from " + Quoted(list_));
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(result.errors, HasSubstr("longer than a path can be"));
  EXPECT_THAT(
      RunKxrtc("verify --null --files-from " + Quoted(list_)).errors,
      AllOf(HasSubstr("longer than a path can be"), HasSubstr("do its paths end with new lines?")));
}

TEST_F(FilesFromTest, SaysThatTheListHasZeroBytes) {
  const ShellResult result = RunShell("printf '%s\\0' " + Quoted(good_.path()) + " | " +
                                      Quoted(KXRTC_PROGRAM) + " verify --quick --files-from -");
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "kxrtc: standard input has a zero byte in a line; its paths end with zero bytes, use "
            "--null\n");
}

}  // namespace
