#include "kx_utility/fileutils.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/testing/temp_dir.h"
#include "tests/testing/working_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedWorkingDir;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

// Works in an empty folder; forgets the executable's path at the end.
class PathTest : public ::testing::Test {
 protected:
  ~PathTest() override { SetExecutablePath(""); }

  TempDir dir_;
  ScopedWorkingDir inside_{dir_.path()};
  // The folder's true path, without a trailing "/".
  const std::string root_ = std::filesystem::current_path().string();
};

TEST_F(PathTest, WorksInTheCurrentDirectory) {
  EXPECT_EQ(root_, WorkingDir());
  EXPECT_EQ(root_ + "/", ProjectRootPath());
}

TEST_F(PathTest, HasNoRootInADirectoryThatIsGone) {
  ASSERT_TRUE(CreateDir("gone"));
  ScopedWorkingDir gone("gone");
  ASSERT_TRUE(RemoveDir(root_ + "/gone"));
  CaptureStderr();
  EXPECT_EQ("./", WorkingDir());
  EXPECT_EQ("ERROR_CANNOT_FIND_PROJECT_ROOT_DIR", ProjectRootPath());
  EXPECT_EQ("./", OutputPath());
  EXPECT_EQ("", GetCapturedStderr());
}

struct ExecutableCase {
  const char* name;
  const char* before_root;  // Null: the path does not hold the working directory.
  const char* path;
  const char* project_root;  // Below the working directory; null when there is none.
};

class ExecutablePathTest : public PathTest, public ::testing::WithParamInterface<ExecutableCase> {};

TEST_P(ExecutablePathTest, SetsTheRootToTheProgramsFolder) {
  std::filesystem::create_directories("build/bin");
  WriteFile("program", "");
  std::string path = GetParam().path;
  if (GetParam().before_root != nullptr) path = GetParam().before_root + root_ + path;
  CaptureStderr();
  SetExecutablePath(path);
  if (GetParam().project_root != nullptr) {
    EXPECT_EQ(root_ + GetParam().project_root, ProjectRootPath());
    EXPECT_EQ("", GetCapturedStderr());
  } else {
    EXPECT_EQ("ERROR_CANNOT_FIND_PROJECT_ROOT_DIR", ProjectRootPath());
    EXPECT_EQ("Cannot find project root directory!\n", GetCapturedStderr());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Paths, ExecutablePathTest,
    ::testing::Values(ExecutableCase{"Absolute", "", "/build/bin/program", "/build/bin/"},
                      ExecutableCase{"Relative", nullptr, "build/bin/program", "/build/bin/"},
                      ExecutableCase{"DotDot", nullptr, "build/bin/../program", "/build/"},
                      ExecutableCase{"NoSlashIsKeptWhole", nullptr, "build", "/build/"},
                      ExecutableCase{"AFileResolvesToo", "", "/program", "/program/"},
                      ExecutableCase{"TheWorkingDirectoryItself", "", "", "/"},
                      ExecutableCase{"Empty", nullptr, "", "/"},
                      ExecutableCase{"RootOnly", nullptr, "/program", "/"},
                      ExecutableCase{"Missing", nullptr, "missing/program", nullptr},
                      // Intended: cut off the front by length, which leaves the end of the name.
                      ExecutableCase{"FoundInTheMiddle", "/x/", "/program", nullptr}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(PathTest, LooksAtNoMoreThan1024BytesOfTheExecutablesFolder) {
  std::filesystem::create_directories("build");
  std::string folder = "build";
  while (folder.size() < 1024) folder += "/.";
  folder.resize(1024, '/');
  SetExecutablePath(folder + "/./missing/program");
  EXPECT_EQ(root_ + "/build/", ProjectRootPath());
}

TEST_F(PathTest, HasNoRootOf1024BytesOrMore) {
  const std::string folder(200, 'd');
  std::string path = root_;
  while (path.size() < 1024) path += "/" + folder;
  std::filesystem::create_directories(path);
  ScopedWorkingDir inside(path);
  EXPECT_EQ(path, WorkingDir());
  CaptureStderr();
  EXPECT_EQ(kCannotFindProjectRootDir, ProjectRootPath());
  EXPECT_EQ("Cannot find project root directory!\n", GetCapturedStderr());
}

TEST_F(PathTest, MakesTheOutputDirectory) {
  EXPECT_EQ(root_ + "/out/", OutputPath());
  EXPECT_TRUE(DirExists(root_ + "/out"));
  EXPECT_EQ(root_ + "/out/", OutputPath());
}

TEST_F(PathTest, PutsOutputHereWhenAFileIsInTheWay) {
  WriteFile("out", "");
  CaptureStderr();
  EXPECT_EQ("./", OutputPath());
  EXPECT_EQ("Path " + root_ +
                "/out exists but is not a directory! Remove this file and re-run to create the "
                "directory.\n",
            GetCapturedStderr());
}

TEST_F(PathTest, PrefersTheResourceThatFitsBest) {
  const std::string resources = root_ + "/resources/";
  EXPECT_EQ(resources + "clip.yuv", ResourcePath("clip", "yuv"));
  ASSERT_TRUE(CreateDir("resources"));
  for (const char* file : {"clip.yuv", "clip_64.yuv", "clip_mac.yuv", "clip_mac_64.yuv"}) {
    WriteFile(resources + file, "");
    EXPECT_EQ(resources + file, ResourcePath("clip", "yuv"));
  }
}

TEST_F(PathTest, TellsFilesFromDirectories) {
  WriteFile("file", "123");
  ASSERT_TRUE(CreateDir("dir"));
  EXPECT_TRUE(FileExists("file"));
  EXPECT_TRUE(FileExists("dir"));
  EXPECT_FALSE(FileExists("missing"));
  EXPECT_FALSE(DirExists("file"));
  EXPECT_TRUE(DirExists("dir"));
  EXPECT_FALSE(DirExists("missing"));
  EXPECT_EQ(3u, GetFileSize("file"));
  EXPECT_EQ(0u, GetFileSize("dir"));
  EXPECT_EQ(0u, GetFileSize("missing"));
}

TEST_F(PathTest, MakesADirectoryOnce) {
  const mode_t former = umask(0);
  EXPECT_TRUE(CreateDir("dir"));
  umask(former);
  struct stat status;
  ASSERT_EQ(0, stat("dir", &status));
  EXPECT_EQ(0777u, status.st_mode & 0777u);
  EXPECT_TRUE(CreateDir("dir"));
  EXPECT_FALSE(CreateDir("missing/dir"));
}

TEST_F(PathTest, ReportsAFileInPlaceOfADirectory) {
  WriteFile("file", "");
  CaptureStderr();
  EXPECT_FALSE(CreateDir("file"));
  EXPECT_EQ(
      "Path file exists but is not a directory! Remove this file and re-run to create the "
      "directory.\n",
      GetCapturedStderr());
}

TEST_F(PathTest, RemovesFilesAndEmptyDirectories) {
  ASSERT_TRUE(CreateDir("dir"));
  WriteFile("dir/file", "");
  EXPECT_FALSE(RemoveDir("dir"));
  EXPECT_FALSE(RemoveFileA("dir"));
  EXPECT_TRUE(RemoveFileA("dir/file"));
  EXPECT_FALSE(RemoveFileA("dir/file"));
  EXPECT_TRUE(RemoveDir("dir"));
  EXPECT_FALSE(RemoveDir("dir"));
}

TEST_F(PathTest, MakesUniqueEmptyFiles) {
  const std::string first = TempFilename(root_, "part_");
  const std::string second = TempFilename(root_, "part_");
  EXPECT_NE(first, second);
  for (const std::string& name : {first, second}) {
    EXPECT_THAT(name, StartsWith(root_ + "/part_"));
    EXPECT_EQ(root_.size() + 6 + 6, name.size());
    EXPECT_TRUE(FileExists(name));
    EXPECT_EQ(0u, GetFileSize(name));
  }
}

TEST_F(PathTest, StopsTheProcessWithoutATemporaryFile) {
  EXPECT_DEATH((void)TempFilename(root_ + "/missing", "part_"), "false");
}

TEST_F(PathTest, ListsADirectoryWithoutEnteringOthers) {
  std::filesystem::create_directories("dir/sub/deeper");
  WriteFile("dir/file", "");
  WriteFile("dir/.hidden", "");
  EXPECT_THAT(ReadDirectory("dir"), UnorderedElementsAre("dir/sub", "dir/file", "dir/.hidden"));
  EXPECT_THAT(ReadDirectory("dir/"), UnorderedElementsAre("dir/sub", "dir/file", "dir/.hidden"));
  EXPECT_THAT(ReadDirectory("dir/sub/deeper"), IsEmpty());
  EXPECT_THAT(ReadDirectory("missing"), IsEmpty());
  EXPECT_THAT(ReadDirectory("dir/file"), IsEmpty());
  EXPECT_THAT(ReadDirectory(""), IsEmpty());
}

TEST_F(PathTest, MeasuresTheFileSystem) {
  uint64_t capacity = 1;
  uint64_t free = 2;
  uint64_t available = 3;
  EXPECT_FALSE(SpaceInfo("missing", &capacity, &free, &available));
  EXPECT_FALSE(SpaceInfo(root_, &capacity, &free, nullptr));
  EXPECT_EQ(1u, capacity);
  EXPECT_EQ(2u, free);
  EXPECT_EQ(3u, available);
  EXPECT_TRUE(SpaceInfo(root_, &capacity, &free, &available));
  EXPECT_EQ(std::filesystem::space(root_).capacity, capacity);
  EXPECT_LE(free, capacity);
  EXPECT_LE(available, free);
  EXPECT_GT(available, 3u);
}

}  // namespace
}  // namespace kx_utility
