#include "files/temporary_entry.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TemporaryEntryTest : public ::testing::Test {
 protected:
  std::vector<std::string> Abandoned() const {
    std::vector<std::string> paths;
    entry_.RemoveAbandoned([&paths](const std::string& path) { paths.push_back(path); });
    return paths;
  }

  TempDir dir_;
  TemporaryEntry entry_{dir_.path(), ".out.", ".part"};
};

TEST_F(TemporaryEntryTest, IsAbandonedUnlessItsMakerLives) {
  const std::string path = entry_.NewPath();
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  ASSERT_GE(descriptor, 0);
  ASSERT_TRUE(LockTemporaryEntry(descriptor));
  EXPECT_THAT(Abandoned(), IsEmpty());
  close(descriptor);
  EXPECT_THAT(Abandoned(), ElementsAre(path));
}

TEST_F(TemporaryEntryTest, MayBeAFolder) {
  const std::string path = entry_.NewPath();
  std::filesystem::create_directory(path);
  const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_TRUE(LockTemporaryEntry(descriptor));
  EXPECT_THAT(Abandoned(), IsEmpty());
  close(descriptor);
  EXPECT_THAT(Abandoned(), ElementsAre(path));
}

TEST_F(TemporaryEntryTest, IsOfNoUseOnceItIsTaken) {
  const std::string path = entry_.NewPath();
  const int maker = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const int remover = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_TRUE(LockTemporaryEntry(remover));
  EXPECT_FALSE(LockTemporaryEntry(maker)) << "another run is about to remove it";
  std::filesystem::remove(path);
  close(remover);
  EXPECT_FALSE(LockTemporaryEntry(maker)) << "another run has removed it";
  close(maker);
}

TEST_F(TemporaryEntryTest, OtherFilesAreNotTouched) {
  const std::string path = entry_.NewPath();
  const size_t mark = dir_.path().size() + entry_.prefix.size();
  std::string other_machine = path;
  other_machine[mark] = path[mark] == '0' ? '1' : '0';
  std::string no_number = path;
  no_number[mark + 9] = 'g';
  std::string other_output = path;
  other_output[mark - 2] = 'x';
  for (const std::string& name :
       {other_machine, no_number, other_output, path + "x", path.substr(0, path.size() - 1),
        dir_.File(".out.part"), dir_.File("out"), dir_.File("out.part")}) {
    WriteFile(name, "mine");
  }
  std::filesystem::create_symlink("out", path);
  EXPECT_THAT(Abandoned(), IsEmpty());
  std::filesystem::remove(path);
  WriteFile(path, "");
  EXPECT_THAT(Abandoned(), ElementsAre(path)) << "the name that all others differ from";
}

TEST_F(TemporaryEntryTest, KnowsItsNames) {
  const std::string path = TemporaryEntry{"", "out.part-", ""}.NewPath();
  EXPECT_TRUE(TemporaryEntry::IsNameOf(path, ".part-"));
  for (const char* name : {"a.part-01234567-89abcdef", ".part-01234567-89abcdef"}) {
    EXPECT_TRUE(TemporaryEntry::IsNameOf(name, ".part-")) << name;
  }
  for (const char* name :
       {"", ".part-", "01234567-89abcdef", "a.part-0123456-89abcdef", "a.part-01234567-89abcdeg",
        "a.part-01234567x89abcdef", "a.part-0123456g-89abcdef", "a.port-01234567-89abcdef",
        "a.part-01234567-89abcdef.mp4"}) {
    EXPECT_FALSE(TemporaryEntry::IsNameOf(name, ".part-")) << name;
  }
}

TEST_F(TemporaryEntryTest, AFolderThatIsMissingHasNone) {
  entry_.folder = dir_.File("missing/");
  EXPECT_THAT(Abandoned(), IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
