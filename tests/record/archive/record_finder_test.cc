#include "record/archive/record_finder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "files/new_folder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

namespace fs = std::filesystem;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RecordFinderTest : public testing::Test {
 protected:
  // A folder with a file; its path.
  std::string Put(const std::string& path, const std::string& file = "SpeakeRecord.index") {
    fs::create_directories(dir_.File(path));
    WriteFile(dir_.File(path) + "/" + file, "");
    return dir_.File(path);
  }

  void Find(const std::string& root) {
    RecordSearch search;
    search.on_record = [this](const std::string& path, int folder) {
      EXPECT_EQ(::faccessat(folder, ".", F_OK, 0), 0);
      found_.push_back(path);
      if (on_found_) on_found_(path);
      return found_.size() < most_;
    };
    search.on_unreadable = [this](const std::string& path, const std::string& why) {
      unreadable_.push_back(path + ": " + why);
    };
    FindRecords(root, search);
  }
  void Find() { Find(dir_.path()); }

  TempDir dir_;
  size_t most_ = SIZE_MAX;
  std::function<void(const std::string&)> on_found_;
  std::vector<std::string> found_;
  std::vector<std::string> unreadable_;
};

TEST_F(RecordFinderTest, FindsEachKindOfFileInOrder) {
  Put("b/2", "SpeakeRecord.264");
  Put("b/10", "SpeakeRecord.aac");
  Put("a", "SpeakeRecord.desc");
  Put("a/below/it");
  Put("c", "SpeakerTimeline.ndjson");
  Put("d", "SpeakeRecord.index2");
  Put("e", "speakerecord.index");
  fs::create_directories(dir_.File("f/SpeakeRecord.index"));
  Find();
  EXPECT_THAT(found_, ElementsAre("a", "a/below/it", "b/10", "b/2"));
  EXPECT_THAT(unreadable_, IsEmpty());
}

TEST_F(RecordFinderTest, FindsTheRootItself) {
  Put(".");
  Put("a");
  Find();
  EXPECT_THAT(found_, ElementsAre("", "a"));
}

TEST_F(RecordFinderTest, TellsOfARootThatIsMissingOrAFile) {
  Find(dir_.File("missing"));
  WriteFile(dir_.File("file"), "");
  Find(dir_.File("file"));
  EXPECT_THAT(found_, IsEmpty());
  EXPECT_THAT(unreadable_, ElementsAre(": No such file or directory", ": Not a directory"));
}

TEST_F(RecordFinderTest, FollowsNoLinkButTheRoot) {
  TempDir outside;
  WriteFile(outside.File("SpeakeRecord.index"), "");
  Put("a");
  fs::create_directory_symlink(outside.path(), dir_.File("out"));
  fs::create_directory_symlink(dir_.path(), dir_.File("a/loop"));
  fs::create_directories(dir_.File("linked"));
  fs::create_symlink(outside.File("SpeakeRecord.index"), dir_.File("linked/SpeakeRecord.index"));
  fs::create_directories(dir_.File("fifo"));
  ASSERT_EQ(::mkfifo(dir_.File("fifo/SpeakeRecord.index").c_str(), 0600), 0);
  Find();
  EXPECT_THAT(found_, ElementsAre("a"));
  EXPECT_THAT(unreadable_, IsEmpty());
  fs::create_directory_symlink(outside.path(), dir_.File("root"));
  Find(dir_.File("root"));
  EXPECT_THAT(found_, ElementsAre("a", ""));
}

TEST_F(RecordFinderTest, PassesOverFoldersThatAreBeingMade) {
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir_.File("repaired")));
  ASSERT_TRUE(folder.BeginFile("SpeakeRecord.index"));
  Put("a.partial-0123456-89abcdef");
  Find();
  EXPECT_THAT(found_, ElementsAre("a.partial-0123456-89abcdef"));
  ASSERT_TRUE(folder.Commit()) << folder.error();
  found_.clear();
  Find();
  EXPECT_THAT(found_, ElementsAre("a.partial-0123456-89abcdef", "repaired"));
}

TEST_F(RecordFinderTest, FindsNamesOfAnyBytes) {
  const std::string names[] = {"a\nb", "c\x1B[2J", "d\xE2\x80\xAE", "e\xFF"};
  for (const std::string& name : names) Put(name);
  Find();
  EXPECT_THAT(found_, testing::ElementsAreArray(names));
}

TEST_F(RecordFinderTest, NeedsFewDescriptorsForAThousandLevels) {
  constexpr rlim_t kFewDescriptors = 64;
  std::string path;
  for (int i = 0; i < 1000; ++i) path += path.empty() ? "d" : "/d";
  Put(path);
  Put(path.substr(0, 999) + "/z");
  Put("z");
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit few = {kFewDescriptors, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  Find();
  EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_THAT(found_, ElementsAre(path, path.substr(0, 999) + "/z", "z"));
  EXPECT_THAT(unreadable_, IsEmpty());
}

TEST_F(RecordFinderTest, TellsOfFoldersThatNoPathReaches) {
  // Nobody can name the inner ones from outside.
  const std::string name(200, 'x');
  int folder = ::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY);
  const int levels = PATH_MAX / 200 + 3;
  std::vector<int> outer;
  for (int i = 0; i < levels; ++i) {
    ASSERT_EQ(::mkdirat(folder, name.c_str(), 0700), 0);
    outer.push_back(folder);
    folder = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
  }
  Put("z");
  Find();
  EXPECT_THAT(found_, ElementsAre("z"));
  ASSERT_THAT(unreadable_, SizeIs(1));
  EXPECT_THAT(unreadable_[0], testing::EndsWith("x: File name too long"));
  ::close(folder);
  for (; !outer.empty(); outer.pop_back()) {
    EXPECT_EQ(::unlinkat(outer.back(), name.c_str(), AT_REMOVEDIR), 0);
    ::close(outer.back());
  }
}

// The super-user may read any folder.
TEST_F(RecordFinderTest, TellsOfAFolderWithoutPermission) {
  constexpr uid_t kNobody = 65534;
  Put("a");
  Put("b/hidden");
  Put("c");
  fs::permissions(dir_.path(), fs::perms{0755});
  fs::permissions(dir_.File("b"), fs::perms{0700});
  const uid_t user = ::getuid();
  if (user == 0) {
    ASSERT_EQ(::seteuid(kNobody), 0);
  } else {
    fs::permissions(dir_.File("b"), fs::perms{0});
  }
  Find();
  EXPECT_EQ(::seteuid(user), 0);
  fs::permissions(dir_.File("b"), fs::perms{0700});
  EXPECT_THAT(found_, ElementsAre("a", "c"));
  EXPECT_THAT(unreadable_, ElementsAre("b: Permission denied"));
}

TEST_F(RecordFinderTest, GoesOnWhereFoldersAreRemovedOrMovedMeanwhile) {
  Put("a/1/x");
  Put("a/2");
  Put("b/1/x");
  Put("b/2");
  Put("c/1");
  Put("c/2");
  Put("d");
  on_found_ = [this](const std::string& path) {
    if (path == "a/1/x") fs::remove_all(dir_.File("a/1"));
    if (path == "b/1/x") fs::rename(dir_.File("b"), dir_.File("moved"));
    if (path == "c/1") fs::remove_all(dir_.File("c/2"));
  };
  Find();
  EXPECT_THAT(found_, ElementsAre("a/1/x", "a/2", "b/1/x", "b/2", "c/1", "d"));
  EXPECT_THAT(unreadable_, IsEmpty());
}

TEST_F(RecordFinderTest, TellsWhatItCannotComeBackTo) {
  TempDir elsewhere;
  Put("a/1/x/deep");
  Put("a/1/y");
  Put("a/2");
  Put("d");
  on_found_ = [&](const std::string& path) {
    if (path != "a/1/x/deep") return;
    fs::rename(dir_.File("a/1/x"), elsewhere.File("x"));
    fs::remove_all(dir_.File("a/1"));
  };
  Find();
  EXPECT_THAT(found_, ElementsAre("a/1/x/deep", "a/2", "d"));
  EXPECT_THAT(unreadable_, ElementsAre("a/1: was moved or removed while it was read"));
}

TEST_F(RecordFinderTest, NeverLeavesTheRootByALinkThatAppears) {
  TempDir outside;
  fs::create_directories(outside.File("b"));
  WriteFile(outside.File("b/SpeakeRecord.index"), "");
  Put("a/1/x");
  Put("a/b");
  on_found_ = [&](const std::string&) {
    fs::rename(dir_.File("a"), outside.File("moved"));
    fs::create_directory_symlink(outside.path(), dir_.File("a"));
    fs::rename(outside.File("moved/1"), outside.File("1"));
  };
  Find();
  EXPECT_THAT(found_, ElementsAre("a/1/x"));
  EXPECT_THAT(unreadable_, ElementsAre("a: was moved or removed while it was read"));
}

TEST_F(RecordFinderTest, EndsWhenNobodyWantsMore) {
  Put("a");
  Put("b");
  Put("c");
  most_ = 2;
  Find();
  EXPECT_THAT(found_, ElementsAre("a", "b"));
}

}  // namespace
}  // namespace kxrtc_host
