// Which libraries a run of kxrtc loads: FFmpeg's only where they are needed, since loading them
// takes longer than most commands do.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <filesystem>
#include <sstream>
#include <vector>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

// The shared objects that were initialised.
std::vector<std::string> ObjectsLoadedBy(const std::string& arguments) {
  constexpr char kMark[] = "calling init: ";
  const ShellResult result = RunShell("LD_DEBUG=libs " + Quoted(KXRTC_PROGRAM) + " " + arguments);
  std::vector<std::string> objects;
  std::istringstream lines(result.errors);
  for (std::string line; std::getline(lines, line);) {
    const size_t mark = line.find(kMark);
    if (mark != std::string::npos) objects.push_back(line.substr(mark + sizeof(kMark) - 1));
  }
  return objects;
}

// A record of a camera without any sound.
void WriteRecordWithoutSound(const TempDir& dir) {
  kx_testing::RecordBuilder(dir)
      .Start(0)
      .Channel(0, kx_testing::kCamera)
      .Attributes(0, 640, 360)
      .Video(0, kx_testing::KeyFrame640x360())
      .Stop(50000)
      .Write();
}

TEST(StartTest, LoadsFewLibrariesWhereFFmpegIsNotNeeded) {
  // libc, libm, the loader, three of the compiler, jsoncpp, the library; two sanitizers.
  constexpr size_t kMostObjects = 10;
  const TempDir dir;
  const TempDir silent;
  const TempDir outputs;
  kx_testing::TwoSessions(dir).Write();
  WriteRecordWithoutSound(silent);
  const std::string record = Quoted(dir.path());
  for (const std::string& arguments :
       {std::string("--version"),
        std::string("--help"),
        std::string("transcode --help"),
        std::string("help verify"),
        std::string(),
        std::string("play"),
        std::string("record --duration x"),
        "info " + record,
        "dump " + record,
        "list " + record,
        "estimate " + record,
        "verify --quick " + record,
        "verify " + Quoted(silent.path()),
        "report --anonymous " + Quoted(silent.path()) + " " + Quoted(outputs.File("silent.html")),
        "repair " + record + " " + Quoted(outputs.File("repaired")),
        "thumbnails " + Quoted(outputs.path()) + " " + Quoted(outputs.File("none")),
        "h264 " + Quoted(dir.path() + "SpeakeRecord.264"),
        "transcode " + Quoted(outputs.path()) + " " + Quoted(outputs.File("none.mp4")),
        "bundle " + Quoted(outputs.path()) + " " + Quoted(outputs.File("none.tar.gz")),
        "record " + Quoted(outputs.File("none.json")) + " " + Quoted(outputs.path())}) {
    const std::vector<std::string> objects = ObjectsLoadedBy(arguments);
    EXPECT_THAT(objects, Contains(HasSubstr("librtc_transcoder.so"))) << arguments;
    EXPECT_THAT(objects, Each(Not(HasSubstr("libav")))) << arguments;
    EXPECT_THAT(objects, SizeIs(testing::Le(kMostObjects))) << arguments;
  }
}

TEST(StartTest, LoadsFFmpegWhereItIsNeeded) {
  const TempDir dir;
  const TempDir silent;
  const TempDir outputs;
  kx_testing::TwoSessions(dir).Write();
  WriteRecordWithoutSound(silent);
  const std::string record = Quoted(dir.path());
  for (const std::string& arguments :
       {"verify " + record, "report " + record + " " + Quoted(outputs.File("page.html")),
        "report " + Quoted(silent.path()) + " " + Quoted(outputs.File("silent.html")),
        "thumbnails " + Quoted(silent.path()) + " " + Quoted(outputs.File("pictures")),
        "transcode --video copy " + record + " " + Quoted(outputs.File("out.mp4"))}) {
    EXPECT_THAT(ObjectsLoadedBy(arguments), Contains(HasSubstr("libavcodec.so"))) << arguments;
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // Both touch much more.
long PageFaultsOfChildren() {
  rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_minflt;
}

TEST(StartTest, TouchesFewPages) {
  constexpr long kMostPages = 600;  // The shell's among them. The queue of a log has 1,024.
  const long before = PageFaultsOfChildren();
  EXPECT_EQ(RunKxrtc("--version").exit_status, 0);
  EXPECT_LE(PageFaultsOfChildren() - before, kMostPages);
}
#endif

// A program whose module is gone.
class LoneProgramTest : public testing::Test {
 protected:
  LoneProgramTest() {
    std::filesystem::create_directory(folder_.File("bin"));
    std::filesystem::copy_file(KXRTC_PROGRAM, folder_.File("bin/kxrtc"));
    kx_testing::TwoSessions(record_).Write();
  }

  ShellResult Run(const std::string& arguments) const {
    return RunShell(Quoted(folder_.File("bin/kxrtc")) + " " + arguments);
  }

  const TempDir folder_;
  const TempDir record_;
  const std::string folder_name_ = Quoted(record_.path());
};

TEST_F(LoneProgramTest, NamesTheMissingFileAndTheNextStep) {
  const std::string mp4 = Quoted(folder_.File("out.mp4"));
  for (const std::string& arguments :
       {"verify " + folder_name_, "report " + folder_name_ + " " + mp4,
        "transcode " + folder_name_ + " " + mp4}) {
    const ShellResult result = Run(arguments);
    EXPECT_EQ(result.exit_status, 1) << arguments;
    EXPECT_EQ(result.output, "") << arguments;
    EXPECT_THAT(result.errors, HasSubstr("/kxrtc_media.so: cannot open shared object file"));
    EXPECT_THAT(result.errors, HasSubstr("; install kxrtc again, with FFmpeg's libraries\n"));
    EXPECT_THAT(result.errors, Not(HasSubstr("/../"))) << arguments;
  }
  const ShellResult result = Run("transcode --json " + folder_name_ + " " + mp4);
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(result.output, HasSubstr("\"event\":\"error\",\"exit_status\":1"));
  EXPECT_FALSE(std::filesystem::exists(folder_.File("out.mp4")));
}

TEST_F(LoneProgramTest, DoesWhatNeedsNoFFmpeg) {
  EXPECT_EQ(Run("info " + folder_name_).output, RunKxrtc("info " + folder_name_).output);
  EXPECT_EQ(Run("verify --quick " + folder_name_).exit_status, 0);
}

TEST_F(LoneProgramTest, MakesAPageWithoutPictures) {
  const TempDir silent;
  WriteRecordWithoutSound(silent);
  const std::string page = folder_.File("page.html");
  const std::string arguments = Quoted(silent.path()) + " " + Quoted(page);
  const ShellResult result = Run("report " + arguments);
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.errors, HasSubstr("the page has no pictures: cannot load what needs FFmpeg"));
  EXPECT_TRUE(std::filesystem::exists(page));
  EXPECT_EQ(Run("report --anonymous " + arguments).errors, "");
}

}  // namespace
