// Where kxrtc prints in colour.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::TempDir;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// A run whose standard output is a terminal.
std::string OnTerminal(const std::string& environment, const std::string& arguments) {
  const std::string command = Quoted(KXRTC_PROGRAM) + " " + arguments;
  return RunShell("env " + environment + " script -qec " + Quoted(command) +
                  " /dev/null < /dev/null")
      .output;
}

TEST(ColourTest, IsForTerminalsOnly) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  std::filesystem::remove(dir.File("SpeakeRecord.264"));
  const std::string arguments = "verify --quick " + Quoted(dir.path());
  EXPECT_THAT(OnTerminal("-u NO_COLOR TERM=xterm", arguments), HasSubstr("\x1B[31merror"));
  EXPECT_THAT(OnTerminal("-u NO_COLOR TERM=xterm", "list " + Quoted(dir.path())),
              HasSubstr("\x1B[31mdamaged"));
  for (const char* environment : {"NO_COLOR=1 TERM=xterm", "-u NO_COLOR TERM=dumb"}) {
    const std::string shown = OnTerminal(environment, arguments);
    EXPECT_THAT(shown, AllOf(HasSubstr("error"), Not(HasSubstr("\x1B[")))) << environment;
  }
  EXPECT_THAT(RunKxrtc(arguments).output, Not(HasSubstr("\x1B[")));
}

}  // namespace
