#include "record/repair/repaired_copy.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "files/new_folder.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;

class RepairedCopyTest : public ::testing::Test {
 protected:
  RepairedCopyTest() {
    kx_testing::TwoSessions(record_).Write();
    const std::string index = record_.File("SpeakeRecord.index");
    std::filesystem::resize_file(index, std::filesystem::file_size(index) - 5);
  }

  TempDir record_;
  TempDir out_;
  const std::string output_ = out_.File("out.mp4");
};

TEST_F(RepairedCopyTest, IsThereAsLongAsItsObject) {
  {
    RepairedCopy copy;
    const RepairResult result = copy.Make(record_.path(), output_, {});
    ASSERT_TRUE(result.repaired) << result.error;
    EXPECT_TRUE(std::filesystem::exists(copy.folder() + "SpeakeRecord.index"));
    const std::filesystem::path parent =
        std::filesystem::path(copy.folder()).parent_path().parent_path();
    EXPECT_TRUE(NewFolder::IsTemporaryName(parent.filename()));
    // It has an owner.
    RepairedCopy::RemoveAbandoned(output_);
    EXPECT_TRUE(std::filesystem::exists(copy.folder()));
  }
  EXPECT_TRUE(std::filesystem::is_empty(out_.path()));
}

TEST_F(RepairedCopyTest, WhatAKilledProgramLeftIsRemovedForItsOutputOnly) {
  std::filesystem::path left;
  {
    RepairedCopy copy;
    ASSERT_TRUE(copy.Make(record_.path(), output_, {}).repaired);
    left = std::filesystem::path(copy.folder()).parent_path().parent_path();
  }
  std::filesystem::create_directories(left / "record.partial-00000000-00000000");
  kx_testing::WriteFile(left / "record.partial-00000000-00000000/SpeakeRecord.264", "left");
  RepairedCopy::RemoveAbandoned(out_.File("other.mp4"));
  EXPECT_TRUE(std::filesystem::exists(left));
  RepairedCopy::RemoveAbandoned(output_);
  EXPECT_TRUE(std::filesystem::is_empty(out_.path()));
}

TEST_F(RepairedCopyTest, LeavesNothingWhereItFails) {
  RepairedCopy missing_folder;
  EXPECT_TRUE(missing_folder.Make(record_.path(), out_.File("missing/out.mp4"), {}).target_refused);
  RepairedCopy stopped;
  EXPECT_FALSE(stopped.Make(record_.path(), output_, [] { return false; }).repaired);
  {
    RepairedCopy nothing;
    EXPECT_TRUE(nothing.Make(out_.File("no record"), output_, {}).source_refused);
  }
}

}  // namespace
}  // namespace kxrtc_host
