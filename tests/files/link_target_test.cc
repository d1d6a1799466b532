#include "files/link_target.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using kx_testing::WriteFile;

class LinkTargetTest : public ::testing::Test {
 protected:
  void Link(const std::string& to, const std::string& name) {
    ASSERT_EQ(symlink(to.c_str(), dir_.File(name).c_str()), 0);
  }

  TempDir dir_;
};

TEST_F(LinkTargetTest, APathThatIsNoLinkIsItsOwnTarget) {
  WriteFile(dir_.File("file"), "");
  EXPECT_EQ(LinkTarget(dir_.File("file")), dir_.File("file"));
  EXPECT_EQ(LinkTarget(dir_.File("missing")), dir_.File("missing"));
  EXPECT_EQ(LinkTarget("name"), "name");
  EXPECT_EQ(LinkTarget(""), "");
}

TEST_F(LinkTargetTest, FollowsAChainOfLinksToAFileThatIsMissing) {
  std::filesystem::create_directory(dir_.File("folder"));
  Link("folder/second", "first");
  Link(dir_.File("third"), "folder/second");
  Link("folder/end", "third");
  EXPECT_EQ(LinkTarget(dir_.File("first")), dir_.File("folder/end"));
}

TEST_F(LinkTargetTest, ComesToAnEndInACircle) {
  Link("b", "a");
  Link("a", "b");
  const std::string target = LinkTarget(dir_.File("a"));
  EXPECT_TRUE(target == dir_.File("a") || target == dir_.File("b"));
}

TEST_F(LinkTargetTest, TheSameFileIsFoundByAnyName) {
  WriteFile(dir_.File("file"), "");
  Link("file", "link");
  Link(".", "folder");
  std::filesystem::create_hard_link(dir_.File("file"), dir_.File("second"));
  for (const char* name : {"file", "link", "./file", "folder/link", "second"}) {
    EXPECT_TRUE(LeadToSameFile(dir_.File("file"), dir_.File(name))) << name;
  }
  WriteFile(dir_.File("other"), "");
  EXPECT_FALSE(LeadToSameFile(dir_.File("file"), dir_.File("other")));
}

TEST_F(LinkTargetTest, TheSameMissingFileIsFoundByAnyName) {
  Link("file", "link");
  Link(".", "folder");
  for (const char* name : {"file", "link", "./file", "folder/link"}) {
    EXPECT_TRUE(LeadToSameFile(dir_.File("file"), dir_.File(name))) << name;
    EXPECT_TRUE(LeadToSameFile(dir_.File(name), dir_.File("file"))) << name;
  }
  EXPECT_FALSE(LeadToSameFile(dir_.File("file"), dir_.File("other")));
  EXPECT_FALSE(LeadToSameFile(dir_.File("file"), dir_.File("missing/file")));
  EXPECT_FALSE(LeadToSameFile(dir_.File("file"), ""));
  EXPECT_TRUE(LeadToSameFile("missing name", "./missing name"));
}

}  // namespace
}  // namespace kxrtc_host
