#include "record/check/timeline_check.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "record/index/record_files.h"
#include "tests/testing/record_builder.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

// A record and the timeline beside it, built together: what is recorded once is in both.
class Scene {
 public:
  Scene& Start(int64_t time_us) { return StartInIndex(time_us).StartLine(time_us); }
  Scene& Select(int64_t time_us, uint32_t media_type) {
    return ChannelInIndex(time_us, media_type).SelectedLine(time_us, media_type);
  }
  Scene& Stop(int64_t time_us) {
    builder_.Stop(time_us);
    return Line("{\"event\":\"stop\",\"us\":" + std::to_string(time_us) + "}\n");
  }
  Scene& Sound(int64_t time_us) {
    builder_.Audio(time_us);
    return *this;
  }

  Scene& StartInIndex(int64_t time_us) {
    builder_.Start(time_us);
    return *this;
  }
  Scene& ChannelInIndex(int64_t time_us, uint32_t media_type) {
    builder_.Channel(time_us, media_type);
    return *this;
  }
  Scene& StartLine(int64_t time_us) {
    return Line("{\"event\":\"start\",\"us\":" + std::to_string(time_us) +
                ",\"utc\":\"2026-11-22T09:30:00.250000Z\"}\n");
  }
  Scene& SelectedLine(int64_t time_us, uint32_t media_type) {
    return Line("{\"event\":\"selected\",\"us\":" + std::to_string(time_us) +
                ",\"ssrc\":7,\"user_id\":1,\"media_type\":" + std::to_string(media_type) + "}\n");
  }
  Scene& Line(const std::string& line) {
    timeline_ += line;
    return *this;
  }

  // "code time text" of each finding.
  std::vector<std::string> Findings() {
    builder_.Write();
    kx_testing::WriteFile(dir_.File(kSpeakerTimelineFileName), timeline_);
    return Check();
  }

  std::vector<std::string> Check() {
    FindingList findings;
    TimelineCheck check(dir_.path(), &findings);
    RecordFiles files;
    files.Open(dir_.path());
    IndexWalker walker(&files.index);
    IndexRecord record;
    while (walker.Next(&record) == IndexWalker::Step::kRecord) check.OnRecord(record);
    check.Finish();
    std::vector<std::string> texts;
    for (const Finding& finding : findings.Sorted()) {
      const std::string time = finding.time_us ? std::to_string(*finding.time_us) : "-";
      texts.push_back(FindingCodeName(finding.code) + (" " + time) + " " + finding.text);
    }
    return texts;
  }

  RecordBuilder& builder() { return builder_; }
  const std::string& folder() const { return dir_.path(); }

 private:
  TempDir dir_;
  RecordBuilder builder_{dir_};
  std::string timeline_ = "{\"speaker_timeline\":1}\n";
};

// Sessions with a share and without video, people who come and speak, and a clock that goes back.
Scene& AddHealthySessions(Scene& scene) {
  for (const int64_t start_us : {int64_t{1000}, int64_t{9000000}, int64_t{5000000}}) {
    scene.Start(start_us).Line("{\"event\":\"joined\",\"us\":1,\"user_id\":1,\"name\":\"Ada\"}\n");
    scene.Select(start_us + 1, kCamera).Select(start_us + 1, kDesktop).Select(start_us + 5, 0);
    scene.Line("{\"event\":\"voice\",\"us\":1,\"user_id\":1,\"on\":true}\n");
    scene.Sound(start_us + 9).Line("{\"event\":\"new\",\"us\":5}\n").Stop(start_us + 20);
  }
  return scene;
}

TEST(TimelineCheckTest, HasNothingAgainstAHealthyTimeline) {
  Scene scene;
  EXPECT_THAT(AddHealthySessions(scene).Findings(), IsEmpty());
}

TEST(TimelineCheckTest, HasNothingAgainstALongTimeline) {
  Scene scene;
  scene.Start(0);
  for (int64_t i = 0; i < 1000; ++i) scene.Select(1000000 - i * i, i % 2 == 0 ? kCamera : 0);
  EXPECT_THAT(scene.Stop(2000000).Findings(), IsEmpty());
}

TEST(TimelineCheckTest, NeedsNoTimeline) {
  Scene scene;
  scene.builder().Start(0).Channel(1, kCamera).Stop(2).Write();
  EXPECT_THAT(scene.Check(), IsEmpty());
}

TEST(TimelineCheckTest, HasNothingAgainstATornLastLine) {
  Scene scene;
  AddHealthySessions(scene).Line("{\"event\":\"sel");
  EXPECT_THAT(scene.Findings(), IsEmpty());
}

TEST(TimelineCheckTest, ReportsLinesWithoutARecord) {
  Scene scene;
  scene.Start(0).SelectedLine(5, kCamera).SelectedLine(6, 0).Select(7, kCamera).StartLine(8);
  EXPECT_THAT(
      scene.Select(9, 0).Stop(20).Findings(),
      ElementsAre("timeline.no-record 5 2 lines of the speaker timeline tell of a start or a "
                  "channel that the index does not contain",
                  "timeline.no-record 8 1 line of the speaker timeline tells of a start or a "
                  "channel that the index does not contain"));
}

TEST(TimelineCheckTest, ReportsRecordsWithoutALine) {
  Scene scene;
  scene.StartInIndex(0).Select(5, kCamera).ChannelInIndex(6, 0).ChannelInIndex(7, kCamera);
  EXPECT_THAT(scene.Select(8, 0).Stop(20).Findings(),
              ElementsAre("timeline.missing-line 0 1 start or channel record has no line in the "
                          "speaker timeline",
                          "timeline.missing-line 6 2 start or channel records have no line in the "
                          "speaker timeline"));
}

TEST(TimelineCheckTest, ReportsAnotherChannelAtTheTime) {
  Scene scene;
  scene.Start(0).ChannelInIndex(5, kCamera).SelectedLine(5, kDesktop).Stop(20);
  EXPECT_THAT(scene.Findings(), ElementsAre(testing::StartsWith("timeline.missing-line 5 "),
                                            testing::StartsWith("timeline.no-record 5 ")));
}

// What a killed process leaves: the index has the last change, the timeline has not.
TEST(TimelineCheckTest, HasNothingAgainstTheEndOfAKilledRecording) {
  Scene scene;
  scene.Start(0).Select(5, kCamera).ChannelInIndex(1000, 0);
  scene.Sound(1000 + TimelineCheck::kLostByAKillUs);
  EXPECT_THAT(scene.Findings(), IsEmpty());
  scene.Sound(1001 + TimelineCheck::kLostByAKillUs);
  EXPECT_THAT(scene.Findings(), ElementsAre(testing::StartsWith("timeline.missing-line 1000 1 ")));
}

// The record of a line is found again behind any number of earlier lines, and behind later ones as
// far as it looks ahead.
TEST(TimelineCheckTest, FindsItsWayBackIntoTheTimeline) {
  for (const int64_t lines : {int64_t{1}, int64_t{63}, int64_t{64}, int64_t{1000}}) {
    Scene earlier;
    earlier.Start(0);
    for (int64_t i = 0; i < lines; ++i) earlier.SelectedLine(5 + i, kCamera);
    EXPECT_THAT(earlier.Select(2000, 0).Stop(3000).Findings(),
                ElementsAre(testing::StartsWith("timeline.no-record 5 " + std::to_string(lines))));
  }
  Scene later;
  later.Start(0);
  for (size_t i = 1; i < TimelineCheck::kLinesAhead; ++i) later.SelectedLine(5000, kCamera);
  EXPECT_THAT(later.Select(2000, 0).Stop(3000).Findings(),
              ElementsAre(testing::StartsWith("timeline.no-record 5000 63 lines")));
}

TEST(TimelineCheckTest, CountsDamagedLines) {
  Scene scene;
  AddHealthySessions(scene).Line("x\n").Line(std::string(kMaxTimelineLineBytes + 1, 'x') + "\n");
  EXPECT_THAT(scene.Findings(),
              ElementsAre("timeline.damaged-line - 2 lines of the speaker timeline are damaged and "
                          "passed over"));
}

// The lines that could not be read are not called missing.
TEST(TimelineCheckTest, ReportsATimelineThatBecomesShorter) {
  Scene scene;
  scene.Start(0);
  for (int64_t i = 1; i < 8000; ++i) scene.Select(i * 10000, kCamera);
  EXPECT_THAT(scene.Stop(80000000).Findings(), IsEmpty());
  FindingList findings;
  TimelineCheck check(scene.folder(), &findings);
  std::filesystem::resize_file(scene.folder() + kSpeakerTimelineFileName,
                               ReadOnlyFile::kWindowSize + 1);
  ReadOnlyFile index;
  index.Open(kxrtc::SpeakerRecordFilePath(scene.folder(), kxrtc::kIndexFileExtension));
  IndexWalker walker(&index);
  IndexRecord record;
  while (walker.Next(&record) == IndexWalker::Step::kRecord) check.OnRecord(record);
  check.Finish();
  EXPECT_EQ(findings.count(FindingCode::kTimelineUnreadable), 1u);
  EXPECT_EQ(findings.Sorted().size(), 1u);
}

TEST(TimelineCheckTest, ReportsWhatIsNoTimeline) {
  Scene scene;
  scene.builder().Start(0).Channel(1, kCamera).Stop(2).Write();
  const std::string folder = RecordFolderPath(scene.folder());
  kx_testing::WriteFile(folder + kSpeakerTimelineFileName, "x\n");
  EXPECT_THAT(scene.Check(), ElementsAre("timeline.unreadable - " + folder +
                                         "SpeakerTimeline.ndjson: is not a speaker timeline"));
  kx_testing::WriteFile(folder + kSpeakerTimelineFileName, "{\"speaker_timeline\":2}\n");
  EXPECT_THAT(scene.Check(), ElementsAre(EndsWith("has version 2, this program reads version 1; "
                                                  "use a later one")));
}

}  // namespace
}  // namespace kxrtc_host
