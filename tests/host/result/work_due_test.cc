#include "host/result/work_due.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "host/result/manifest.h"
#include "host/result/mp4_mark.h"
#include "host/result/record_origin.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/timeline_lines.h"

namespace kxrtc_host {
namespace {

using kx_testing::AppendToFile;
using kx_testing::TempDir;
using kx_testing::WriteFile;

// A record and an MP4 that says that it was made of it.
class WorkDueTest : public testing::Test {
 protected:
  WorkDueTest() {
    kx_testing::TwoSessions(dir_).Write();
    kx_testing::TimelineLines().Write(dir_);
    MakeMp4(RecordOrigin(dir_.path(), Json::Value("any options")));
  }

  void MakeMp4(const std::string& origin) {
    const std::string content = kx_testing::BigEndian32(13) + "moovindex";
    std::string mark;
    EXPECT_TRUE(MakeMp4Mark(
        [&](uint64_t position, void* buffer, uint64_t size) {
          std::memcpy(buffer, content.data() + position, size);
          return true;
        },
        content.size(), origin, &mark));
    WriteFile(mp4_, content + mark);
  }

  bool IsDue(const Manifest* manifest = nullptr) const {
    const int folder = ::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY);
    const bool is_due = IsWorkDue(GlanceAtRecord(folder), mp4_, manifest);
    ::close(folder);
    return is_due;
  }

  TempDir dir_;
  TempDir out_;
  std::string mp4_ = out_.File("a.mp4");
};

TEST_F(WorkDueTest, NothingIsDueWhereTheMp4WasMadeOfTheRecord) { EXPECT_FALSE(IsDue()); }

TEST_F(WorkDueTest, AnMp4ThatTheManifestDoesNotTellOfIsDue) {
  Manifest manifest;
  ASSERT_TRUE(manifest.Open(out_.File("manifest"), SharedLines::Access::kAppend));
  EXPECT_TRUE(IsDue(&manifest));
  Json::Value line;
  line["outcome"] = ManifestOutcomeName(ManifestOutcome::kMade);
  line["made_of"] = OriginName(RecordOrigin(dir_.path(), Json::Value("any options")));
  ASSERT_TRUE(manifest.Append(mp4_, line, {}) && manifest.ReadAll());
  EXPECT_FALSE(IsDue(&manifest));
  WriteFile(out_.File(".a.mp4.lock"), "");
  EXPECT_TRUE(IsDue(&manifest));
  EXPECT_FALSE(IsDue());
}

TEST_F(WorkDueTest, AMissingOrForeignMp4IsDue) {
  std::filesystem::remove(mp4_);
  EXPECT_TRUE(IsDue());
  WriteFile(mp4_, "a film of mine");
  EXPECT_TRUE(IsDue());
}

TEST_F(WorkDueTest, AnMp4ThatWasAddedToIsDue) {
  AppendToFile(mp4_, "x");
  EXPECT_TRUE(IsDue());
}

TEST_F(WorkDueTest, AFileOfAnotherSizeIsDue) {
  for (const char* name : {"SpeakeRecord.index", "SpeakeRecord.desc", "SpeakeRecord.264",
                           "SpeakeRecord.aac", "SpeakerTimeline.ndjson"}) {
    const std::string before = kx_testing::ReadFile(dir_.File(name));
    AppendToFile(dir_.File(name), "x");
    EXPECT_TRUE(IsDue()) << name;
    std::filesystem::remove(dir_.File(name));
    EXPECT_TRUE(IsDue()) << name;
    WriteFile(dir_.File(name), before);
    EXPECT_FALSE(IsDue()) << name;
  }
}

TEST_F(WorkDueTest, ATimelineThatAppearsIsDue) {
  const std::string timeline = dir_.File("SpeakerTimeline.ndjson");
  const std::string lines = kx_testing::ReadFile(timeline);
  std::filesystem::remove(timeline);
  MakeMp4(RecordOrigin(dir_.path(), {}));
  EXPECT_FALSE(IsDue());
  WriteFile(timeline, lines);
  EXPECT_TRUE(IsDue());
}

TEST_F(WorkDueTest, AnOriginOfAnythingElseIsDue) {
  const std::string origin = RecordOrigin(dir_.path(), {});
  std::string other_format = origin;
  other_format.replace(origin.find("\"output_format\":1"), 17, "\"output_format\":0");
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("[]"), std::string("{\"output_format\":1}"),
        std::string("{\"output_format\":1,\"record\":7}"),
        std::string("{\"output_format\":1,\"record\":{\"index\":{\"bytes\":-1}}}"),
        std::string(50000, '['), other_format, origin.substr(0, origin.size() - 1)}) {
    MakeMp4(text);
    EXPECT_TRUE(IsDue()) << text.substr(0, 100);
  }
  MakeMp4(origin);
  EXPECT_FALSE(IsDue());
}

TEST_F(WorkDueTest, ARecordWithoutMediaIsNeverDueAndADamagedOneIs) {
  std::filesystem::remove(mp4_);
  kx_testing::RecordBuilder(dir_).Start(0).Stop(10).Write();
  EXPECT_FALSE(IsDue());
  std::filesystem::remove(dir_.File("SpeakeRecord.desc"));
  EXPECT_TRUE(IsDue());
}

}  // namespace
}  // namespace kxrtc_host
