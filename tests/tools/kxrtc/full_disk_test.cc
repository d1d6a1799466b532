// Every command that writes a file, on a disk that is full at some byte of it, or fails: the cause
// is told, the status is the documented one, and nothing stands under the final name that did not
// stand there before.
#include <gmock/gmock.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/testing/conference_record.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::kCamera;
using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace fs = std::filesystem;

struct CommandCase {
  const char* name;
  const char* arguments;  // With the record for "%r" and the output for "%o".
  const char* output;
  const char* older;  // What stands under the final name already; null for nothing.
  // The part by which two runs may differ in size: what libx264 encodes in several threads under a
  // limited bit rate depends on how far each of them has come.
  double variation = 0;
};

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

class FullDiskTest : public ::testing::TestWithParam<CommandCase> {
 protected:
  FullDiskTest() {
    kx_testing::ConferenceRecord record(record_, kx_testing::MakeAudio(60, 2, true));
    record.Start().Speaks(kCamera, {"dora", 320, 180, "main", 24, 12}).Stop().builder().Write();
    if (GetParam().older != nullptr) WriteFile(output_, GetParam().older);
  }

  std::string Command() const {
    const std::string arguments = Replaced(GetParam().arguments, "%r", Quoted(record_.path()));
    return Quoted(KXRTC_PROGRAM) + " " + Replaced(arguments, "%o", Quoted(output_));
  }

  // Runs the command with room for `bytes` in each file.
  ShellResult RunWithRoomFor(uint64_t bytes) {
    return RunShell("prlimit --fsize=" + std::to_string(bytes) + " " + Command());
  }

  // What `shell_commands` print when they run where `$disk` is a file system of `kilobytes`.
  ShellResult RunOnDiskOf(int kilobytes, const std::string& shell_commands) {
    const std::string script = "mount -t tmpfs -o size=" + std::to_string(kilobytes) + "k none " +
                               Quoted(folder_.path()) + " || exit 99; " + shell_commands;
    return RunShell("unshare --map-root-user --mount sh -c " + Quoted(script));
  }

  // The size of the largest file that the command writes.
  uint64_t LargestFile() const {
    if (fs::is_regular_file(output_)) return fs::file_size(output_);
    uint64_t largest = 0;
    for (const auto& entry : fs::directory_iterator(output_)) {
      largest = std::max<uint64_t>(largest, entry.file_size());
    }
    return largest;
  }

  void ExpectOlderContentOnly() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
      names.push_back(entry.path().filename());
    }
    if (GetParam().older == nullptr) {
      EXPECT_THAT(names, testing::IsEmpty());
    } else {
      EXPECT_THAT(names, testing::ElementsAre(GetParam().output));
      EXPECT_EQ(ReadFile(output_), GetParam().older);
    }
  }

  TempDir record_;
  TempDir folder_;
  std::string output_ = folder_.File(GetParam().output);
};

TEST_P(FullDiskTest, LeavesNothingWhereverItEnds) {
  constexpr uint64_t kSteps = 12;
  constexpr uint64_t kRoomForMessage = 400;  // Which goes into a file that has the same limit.
  uint64_t size = 0;
  {
    const ShellResult whole = RunWithRoomFor(1 << 30);
    ASSERT_EQ(whole.exit_status, 0) << whole.errors;
    size = LargestFile();
    fs::remove_all(output_);
    if (GetParam().older != nullptr) WriteFile(output_, GetParam().older);
  }
  ASSERT_GT(size, kSteps);
  const uint64_t too_little = size - 1 - static_cast<uint64_t>(GetParam().variation * size);
  std::vector<uint64_t> limits = {kRoomForMessage, too_little};
  for (uint64_t step = 1; step < kSteps; ++step) limits.push_back(size * step / kSteps);
  for (const uint64_t limit : limits) {
    SCOPED_TRACE(std::to_string(limit) + " of " + std::to_string(size) + " bytes");
    const ShellResult run = RunWithRoomFor(limit);
    EXPECT_EQ(run.exit_status, 4);
    EXPECT_THAT(run.errors,
                AllOf(StartsWith("kxrtc: "), HasSubstr(output_), HasSubstr(": File too large\n")));
    ExpectOlderContentOnly();
  }
  EXPECT_EQ(RunWithRoomFor(2 * size).exit_status, 0);
}

TEST_P(FullDiskTest, LeavesNothingOnAFileSystemWithoutRoom) {
  const std::string prepare =
      GetParam().older == nullptr
          ? ""
          : "printf %s " + Quoted(GetParam().older) + " > " + Quoted(output_) + "; ";
  const ShellResult run = RunOnDiskOf(
      16, prepare + Command() + " > /dev/null; echo status $?; ls -A " + Quoted(folder_.path()) +
              "; cat " + Quoted(output_) + " 2> /dev/null; true");
  if (run.exit_status != 0) GTEST_SKIP() << "this system mounts nothing for tests: " << run.errors;
  EXPECT_THAT(run.errors, AllOf(StartsWith("kxrtc: "), HasSubstr(output_),
                                HasSubstr(": No space left on device\n")));
  const std::string listing =
      GetParam().older == nullptr ? "" : GetParam().output + std::string("\n") + GetParam().older;
  EXPECT_EQ(run.output, "status 4\n" + listing);
}

TEST_P(FullDiskTest, LeavesNothingOnADiskThatFails) {
  const long rename = GetParam().older == nullptr ? SYS_renameat2 : SYS_rename;
  for (const long call :
       {static_cast<long>(SYS_fsync), static_cast<long>(SYS_sync_file_range), rename}) {
    SCOPED_TRACE(call);
    ShellResult run;
    if (!kx_testing::RunWithFailingCall({call, EIO}, [&] { run = RunShell(Command()); })) {
      GTEST_SKIP() << "this system lets no call fail";
    }
    EXPECT_EQ(run.exit_status, 4);
    EXPECT_THAT(run.errors, AllOf(StartsWith("kxrtc: "), HasSubstr(output_),
                                  HasSubstr(": Input/output error\n")));
    ExpectOlderContentOnly();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Commands, FullDiskTest,
    ::testing::Values(
        CommandCase{"TranscodeCopy", "transcode --quiet --video copy %r %o", "out.mp4", nullptr},
        CommandCase{"TranscodeForced", "transcode --quiet --video copy --force %r %o", "out.mp4",
                    "older"},
        CommandCase{"TranscodeEncode", "transcode --quiet --no-hardware --preset ultrafast %r %o",
                    "out.mp4", nullptr, 0.02},
        CommandCase{"Report", "report %r %o", "page.html", "older"},
        CommandCase{"Thumbnails", "thumbnails --size 640x360 --interval 0.1 %r %o", "pictures",
                    nullptr},
        CommandCase{"Repair", "repair %r %o", "repaired", nullptr},
        CommandCase{"H264Copy", "h264 %rSpeakeRecord.264 --rewrite-vui %o", "out.264", nullptr}),
    [](const auto& param_info) { return param_info.param.name; });

}  // namespace
