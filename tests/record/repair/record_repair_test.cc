#include "record/repair/record_repair.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/predict/record_analysis.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::ReadRecord;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using kx_testing::TwoSessions;
using testing::HasSubstr;

std::vector<std::string> Names(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST(RecordRepairTest, CopiesAValidRecordByteForByte) {
  const TempDir dir;
  const TempDir target;
  TwoSessions(dir).Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  const auto before = ReadRecord(dir.path());
  const auto after = ReadRecord(target.File("new/"));
  EXPECT_EQ(after.at(".index"), before.at(".index"));
  EXPECT_EQ(after.at(".264"), before.at(".264"));
  EXPECT_EQ(after.at(".aac"), before.at(".aac"));
  EXPECT_EQ(result.kept.video_end, before.at(".264").size());
  EXPECT_EQ(result.kept.audio_end, before.at(".aac").size());
  EXPECT_EQ(result.changes.lost + result.changes.added, 0u);
  EXPECT_EQ(AnalyseRecord(target.File("new")).findings.Verdict(), Severity::kInfo);
}

TEST(RecordRepairTest, MakesATornRecordPlayToItsEnd) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder builder = TwoSessions(dir);
  builder.Start(3000000).Channel(3000001, kCamera).Attributes(3000002, 640, 360);
  builder.Video(3000003, kx_testing::KeyFrame640x360());
  builder.DataRecord(0xEEDDCC06, 3000004, builder.video().size(), 100);
  builder.RawVideo("half of the frame").RawIndex("\xEE\xDD").RawAudio("stale").Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  EXPECT_EQ(result.sessions, 3u);
  EXPECT_EQ(result.kept.video_frames, 4u);
  EXPECT_EQ(result.changes.lost, 4u);   // A frame, the cut record, two stale tails.
  EXPECT_EQ(result.changes.added, 1u);  // The stop record.
  const RecordSummary summary = AnalyseRecord(target.File("new"));
  EXPECT_EQ(summary.findings.Verdict(), Severity::kInfo);
  EXPECT_TRUE(summary.replay.completes);
}

TEST(RecordRepairTest, MendsARecordOfVeryManySessions) {
  constexpr int kSessions = 70000;
  const TempDir dir;
  const TempDir target;
  RecordBuilder builder(dir);
  for (int64_t i = 0; i < kSessions; ++i) builder.Start(2 * i + 1).Stop(2 * i + 2);
  builder.RawIndex("torn").Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  EXPECT_EQ(result.sessions, static_cast<uint64_t>(kSessions));
  kxrtc::SpeakerRecordDescReader reader;
  ASSERT_TRUE(reader.Initialize(target.File("new/SpeakeRecord.desc")));
  kxrtc::SpeakerRecordSession session;
  ASSERT_TRUE(reader.GetSpeakerRecordSession(kSessions - 1, &session));
  EXPECT_EQ(session.sessoin_end_timestamp_us, 2 * kSessions);
}

TEST(RecordRepairTest, NeverTouchesTheSource) {
  const TempDir dir;
  const TempDir target;
  TwoSessions(dir).RawIndex("torn").Write();
  const auto before = ReadRecord(dir.path());
  ASSERT_TRUE(RepairRecord(dir.path(), target.File("new"), {}).repaired);
  EXPECT_EQ(ReadRecord(dir.path()), before);
  EXPECT_EQ(Names(dir.path()).size(), 4u);
}

TEST(RecordRepairTest, RefusesATargetThatExists) {
  const TempDir dir;
  const TempDir target;
  TwoSessions(dir).Write();
  const RepairResult folder = RepairRecord(dir.path(), target.path(), {});
  EXPECT_FALSE(folder.repaired);
  EXPECT_TRUE(folder.target_refused);
  EXPECT_THAT(folder.error, HasSubstr("already exists"));
  std::filesystem::create_symlink("/nowhere", target.File("link"));
  EXPECT_FALSE(RepairRecord(dir.path(), target.File("link"), {}).repaired);
  EXPECT_THAT(Names(target.path()), testing::ElementsAre("link"));
}

TEST(RecordRepairTest, RefusesATargetInsideTheSource) {
  const TempDir dir;
  TwoSessions(dir).Write();
  const RepairResult result = RepairRecord(dir.path(), dir.File("new"), {});
  EXPECT_FALSE(result.repaired);
  EXPECT_THAT(result.error, HasSubstr("is inside the record"));
  EXPECT_EQ(Names(dir.path()).size(), 4u);
}

TEST(RecordRepairTest, EndsWhenItIsNotWantedAnyMore) {
  const TempDir dir;
  const TempDir target;
  TwoSessions(dir).Write();
  int questions = 0;
  RepairOptions options;
  options.is_wanted = [&questions] { return ++questions < 4; };
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), options);
  EXPECT_FALSE(result.repaired);
  EXPECT_EQ(result.error, "stopped; nothing is written");
  EXPECT_EQ(questions, 4);
  EXPECT_THAT(Names(target.path()), testing::IsEmpty());
}

TEST(RecordRepairTest, ExplainsAMissingParentFolder) {
  const TempDir dir;
  const TempDir target;
  TwoSessions(dir).Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("a/b"), {});
  EXPECT_FALSE(result.repaired);
  EXPECT_THAT(result.error, HasSubstr("No such file or directory"));
}

TEST(RecordRepairTest, ExplainsARecordWithNothingToKeep) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder(dir).RawIndex("torn").Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  EXPECT_FALSE(result.repaired);
  EXPECT_THAT(result.error, HasSubstr("nothing to repair"));
  EXPECT_TRUE(Names(target.path()).empty());
}

TEST(RecordRepairTest, TakesTheChannelCountFromTheBestPlace) {
  const TempDir dir;
  const TempDir target;
  TwoSessions(dir).AudioChannels(1).Write();
  RepairOptions options;
  options.audio_channels = 6;
  RepairResult result = RepairRecord(dir.path(), target.File("option"), options);
  EXPECT_EQ(result.audio_channels, 6u);
  EXPECT_EQ(result.channel_source, ChannelSource::kOption);
  result = RepairRecord(dir.path(), target.File("descriptor"), {});
  EXPECT_EQ(result.audio_channels, 1u);
  EXPECT_EQ(result.channel_source, ChannelSource::kDescriptor);
  std::filesystem::remove(dir.File("SpeakeRecord.desc"));
  result = RepairRecord(dir.path(), target.File("frames"), {});
  EXPECT_EQ(result.audio_channels, 2u);
  EXPECT_EQ(result.channel_source, ChannelSource::kAudioFrames);
}

TEST(RecordRepairTest, AnEmptyFirstFrameHidesNoChannelCount) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder builder(dir);
  builder.Start(0).Audio(21333, "").Audio(42666, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
  builder.Stop(50000).Write();
  std::filesystem::remove(dir.File("SpeakeRecord.desc"));
  EXPECT_EQ(RepairRecord(dir.path(), target.File("new"), {}).audio_channels, 2u);
}

struct ChannelCase {
  const char* name;
  const char* in_descriptor;
  ChannelSource source;
};

class RepairChannelsTest : public testing::TestWithParam<ChannelCase> {};

TEST_P(RepairChannelsTest, TakesNoCountThatAacCannotState) {
  const TempDir dir;
  const TempDir target;
  const RecordBuilder builder = TwoSessions(dir);
  builder.Write();
  std::string text = builder.Descriptor();
  const size_t place = text.find("count\":2}") + 7;
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"),
                        text.replace(place, 1, GetParam().in_descriptor));
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  EXPECT_EQ(result.channel_source, GetParam().source);
  const auto before = ReadRecord(dir.path());
  const auto after = ReadRecord(target.File("new/"));
  for (const char* extension : {".index", ".264", ".aac"}) {
    EXPECT_EQ(after.at(extension), before.at(extension));
  }
  const bool is_taken = GetParam().source == ChannelSource::kDescriptor;
  EXPECT_EQ(result.changes.kept.size(), is_taken ? 0u : 1u);
  if (is_taken) return;
  EXPECT_EQ(result.audio_channels, 2u);  // Of the audio frames.
  EXPECT_EQ(result.changes.lost, 1u);
  EXPECT_EQ(result.changes.kept[0].offset, place);
  EXPECT_EQ(result.changes.kept[0].text,
            "audio_channel_count of .desc: AAC cannot have this number of channels");
  RepairOptions options;
  options.audio_channels = 6;
  const RepairResult told = RepairRecord(dir.path(), target.File("told"), options);
  EXPECT_EQ(told.audio_channels, 6u);
  EXPECT_EQ(told.changes.lost, 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Counts, RepairChannelsTest,
    testing::Values(ChannelCase{"Zero", "0", ChannelSource::kAudioFrames},
                    ChannelCase{"Least", "1", ChannelSource::kDescriptor},
                    ChannelCase{"Most", "8", ChannelSource::kDescriptor},
                    ChannelCase{"TooMany", "9", ChannelSource::kAudioFrames},
                    ChannelCase{"Negative", "-1", ChannelSource::kAudioFrames},
                    ChannelCase{"Largest", "4294967295", ChannelSource::kAudioFrames},
                    ChannelCase{"NoNumber", "[]", ChannelSource::kAudioFrames}),
    [](const auto& test) { return test.param.name; });

TEST(RecordRepairTest, AsksForTheChannelCountWhereOnlyAnInvalidOneIsTold) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder(dir).Start(0).Audio(21333, "raw audio").Stop(30000).AudioChannels(99).Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  EXPECT_FALSE(result.repaired);
  EXPECT_THAT(result.error, HasSubstr("--channels"));
}

TEST(RecordRepairTest, AsksForTheChannelCountThatNothingTells) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder(dir).Start(0).Audio(21333, "raw audio").Stop(30000).Write();
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), "{");
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  EXPECT_FALSE(result.repaired);
  EXPECT_THAT(result.error, HasSubstr("--channels"));
  EXPECT_TRUE(Names(target.path()).empty());
}

TEST(RecordRepairTest, LeavesNothingBehindWhenTheDiskIsFull) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder builder = TwoSessions(dir);
  builder.Start(3000000).Audio(3000001, std::string(100000, 'a')).Stop(3000002).Write();
  const kx_testing::ScopedFileSizeLimit limit(50000);
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  EXPECT_FALSE(result.repaired);
  EXPECT_TRUE(result.target_failed);
  EXPECT_THAT(result.error, HasSubstr("File too large"));
  EXPECT_TRUE(Names(target.path()).empty());
}

TEST(RecordRepairTest, LeavesOutTheHolesOfAHugeSparseFile) {
  const TempDir dir;
  const TempDir target;
  constexpr uint64_t kFar = uint64_t{1} << 33;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3);
  builder.DataRecord(0xEEDDCC06, 4, kFar, 8).Stop(5).Write();
  {
    std::fstream video(dir.File("SpeakeRecord.264"), std::ios::in | std::ios::out);
    video.seekp(static_cast<std::streamoff>(kFar));
    video << kx_testing::KeyFrame();
  }
  ASSERT_TRUE(RepairRecord(dir.path(), target.File("new"), {}).repaired);
  const std::string copy = target.File("new/SpeakeRecord.264");
  EXPECT_EQ(std::filesystem::file_size(copy), 16u);
}

}  // namespace
}  // namespace kxrtc_host
