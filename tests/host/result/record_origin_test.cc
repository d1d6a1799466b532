#include "host/result/record_origin.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/testing/record_samples.h"
#include "tests/testing/timeline_lines.h"

namespace kxrtc_host {
namespace {

using kx_testing::AppendToFile;
using kx_testing::ReadFile;
using kx_testing::TempDir;
using kx_testing::WriteFile;

class RecordOriginTest : public testing::Test {
 protected:
  RecordOriginTest() {
    kx_testing::TwoSessions(dir_).Write();
    kx_testing::TimelineLines().Write(dir_);
    options_["video"] = "copy";
  }

  std::string Origin() const { return RecordOrigin(dir_.path(), options_); }

  TempDir dir_;
  Json::Value options_;
};

TEST_F(RecordOriginTest, IsTheSameForTheSame) {
  const std::string origin = Origin();
  EXPECT_EQ(origin.find('\n'), std::string::npos);
  EXPECT_NE(origin.find("\"output_format\":1"), std::string::npos);
  const TempDir other;
  for (const auto& file : std::filesystem::directory_iterator(dir_.path())) {
    std::filesystem::copy(file.path(), other.File(file.path().filename()));
  }
  EXPECT_EQ(RecordOrigin(other.path(), options_), origin);
}

TEST_F(RecordOriginTest, ChangesWithAllThatItIsMadeOf) {
  std::set<std::string> origins = {Origin()};
  options_["video"] = "encode";
  EXPECT_TRUE(origins.insert(Origin()).second);
  for (const char* name : {"SpeakeRecord.index", "SpeakeRecord.desc", "SpeakerTimeline.ndjson"}) {
    // A byte that changes, and one more.
    std::string content = ReadFile(dir_.File(name));
    content.back() ^= 1;
    WriteFile(dir_.File(name), content);
    EXPECT_TRUE(origins.insert(Origin()).second) << name;
    AppendToFile(dir_.File(name), "x");
    EXPECT_TRUE(origins.insert(Origin()).second) << name;
  }
  for (const char* name : {"SpeakeRecord.264", "SpeakeRecord.aac"}) {
    AppendToFile(dir_.File(name), "x");
    EXPECT_TRUE(origins.insert(Origin()).second) << name;
  }
  for (const auto& file : std::filesystem::directory_iterator(dir_.path())) {
    std::filesystem::remove(file);
    EXPECT_TRUE(origins.insert(Origin()).second) << file.path();
  }
}

}  // namespace
}  // namespace kxrtc_host
