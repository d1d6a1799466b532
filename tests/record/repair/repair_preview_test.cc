// What a repair says it will keep is what it keeps, whatever is wrong with the record.
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "tests/testing/bundled_record.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::IsEmpty;

constexpr int kFrames = 100;
constexpr int64_t kAudioUs = 21333;
constexpr int64_t kWholeUs = kFrames * kAudioUs;

// Two seconds of sound, with a picture for each frame of it; each tenth is a key frame.
RecordBuilder TwoSeconds(const TempDir& dir) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
  for (int i = 0; i < kFrames; ++i) {
    const int64_t time_us = (i + 1) * kAudioUs;
    builder.Audio(time_us, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
    builder.Video(time_us, i % 10 == 0 ? kx_testing::KeyFrame640x360() : kx_testing::DeltaFrame());
  }
  return builder.Stop(kWholeUs + 5);
}

// The files of a record, to damage them.
class Files {
 public:
  explicit Files(const TempDir& dir) : dir_(dir) {}

  std::string Path(const char* extension) const {
    return dir_.File(std::string("SpeakeRecord") + extension);
  }
  void Change(const char* extension, const std::function<void(std::string*)>& change) const {
    std::string bytes = kx_testing::ReadFile(Path(extension));
    change(&bytes);
    kx_testing::WriteFile(Path(extension), bytes);
  }
  void Cut(const char* extension, double part) const {
    Change(extension, [part](std::string* bytes) {
      bytes->resize(static_cast<size_t>(static_cast<double>(bytes->size()) * part));
    });
  }
  void Remove(const char* extension) const { std::filesystem::remove(Path(extension)); }
  void Swap(const char* one, const char* other) const {
    std::filesystem::rename(Path(one), dir_.File("spare"));
    std::filesystem::rename(Path(other), Path(one));
    std::filesystem::rename(dir_.File("spare"), Path(other));
  }
  void Overwrite(const char* extension) const {
    Change(extension, [](std::string* bytes) { bytes->replace(bytes->size() / 2, 200, 200, 'x'); });
  }
  void Flip(const char* extension) const {
    Change(extension, [](std::string* bytes) {
      for (size_t at = 40; at < bytes->size(); at += 997) (*bytes)[at] ^= 0x20;
    });
  }

 private:
  const TempDir& dir_;
};

struct DamageCase {
  const char* name;
  void (*damage)(const Files&);
  int64_t kept_us;  // Of kWholeUs.
};

void PrintTo(const DamageCase& damage_case, std::ostream* out) { *out << damage_case.name; }

class RepairPreviewTest : public testing::TestWithParam<DamageCase> {};

TEST_P(RepairPreviewTest, SaysWhatTheRepairKeeps) {
  const TempDir dir;
  const TempDir target;
  TwoSeconds(dir).Write();
  GetParam().damage(Files(dir));
  const RepairResult preview = PreviewRepair(dir.path(), {});
  const RepairResult repair = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(repair.repaired) << repair.error;
  EXPECT_TRUE(preview.repaired) << preview.error;
  EXPECT_EQ(repair.kept.recorded_us, GetParam().kept_us);
  EXPECT_EQ(preview.kept.recorded_us, repair.kept.recorded_us);
  EXPECT_EQ(preview.recorded_us, repair.recorded_us);
  EXPECT_EQ(preview.kept.video_frames, repair.kept.video_frames);
  EXPECT_EQ(preview.kept.audio_frames, repair.kept.audio_frames);
  EXPECT_EQ(preview.lost_video_frames, repair.lost_video_frames);
  EXPECT_EQ(preview.lost_audio_frames, repair.lost_audio_frames);
  EXPECT_EQ(preview.sessions, repair.sessions);
  EXPECT_EQ(preview.audio_channels, repair.audio_channels);
  ASSERT_EQ(preview.changes.kept.size(), repair.changes.kept.size());
  for (size_t i = 0; i < preview.changes.kept.size(); ++i) {
    EXPECT_EQ(preview.changes.kept[i].text, repair.changes.kept[i].text);
  }
  // The repaired record has that, and needs no other repair.
  const RecordSummary summary = AnalyseRecord(target.File("new"));
  EXPECT_EQ(summary.recorded_us, repair.kept.recorded_us);
  EXPECT_FALSE(MayHelpRepair(summary));
  const RepairResult again = PreviewRepair(target.File("new"), {});
  EXPECT_EQ(again.kept.recorded_us, again.recorded_us);
  EXPECT_EQ(again.recorded_us, repair.kept.recorded_us);
  EXPECT_THAT(again.changes.kept, IsEmpty());
  kx_testing::ExpectBundleTellsTheSame(dir.path());
}

INSTANTIATE_TEST_SUITE_P(
    Damages, RepairPreviewTest,
    testing::Values(
        DamageCase{"None", [](const Files&) {}, kWholeUs},
        DamageCase{"TornIndex", [](const Files& files) { files.Cut(".index", 0.6); }, kWholeUs},
        DamageCase{"OverwrittenIndex", [](const Files& files) { files.Overwrite(".index"); },
                   kWholeUs},
        // The first picture is shown from the start.
        DamageCase{"LostIndex", [](const Files& files) { files.Remove(".index"); },
                   kWholeUs + kAudioUs},
        DamageCase{"LostDescriptor", [](const Files& files) { files.Remove(".desc"); }, kWholeUs},
        DamageCase{"TornDescriptor", [](const Files& files) { files.Cut(".desc", 0.5); }, kWholeUs},
        DamageCase{"TornPictures", [](const Files& files) { files.Cut(".264", 0.5); }, kWholeUs},
        DamageCase{"TornSound", [](const Files& files) { files.Cut(".aac", 0.5); }, kWholeUs},
        DamageCase{"LostSound", [](const Files& files) { files.Remove(".aac"); }, kWholeUs},
        DamageCase{"TornData",
                   [](const Files& files) {
                     files.Cut(".264", 0.25);
                     files.Cut(".aac", 0.5);
                   },
                   kWholeUs / 2},
        DamageCase{"SwappedFiles", [](const Files& files) { files.Swap(".264", ".aac"); },
                   kWholeUs},
        DamageCase{"FlippedPictures", [](const Files& files) { files.Flip(".264"); }, kWholeUs},
        DamageCase{"InsertedIntoSound",
                   [](const Files& files) {
                     files.Change(".aac",
                                  [](std::string* bytes) { bytes->insert(130, "inserted"); });
                   },
                   kWholeUs}),
    [](const auto& test) { return test.param.name; });

TEST(RepairPreviewTest, CountsTheTimeOfWhatIsLeftOut) {
  const TempDir dir;
  TwoSeconds(dir).Write();
  const Files files(dir);
  files.Cut(".aac", 0.5);
  files.Cut(".264", 0.25);
  const RepairResult preview = PreviewRepair(dir.path(), {});
  EXPECT_EQ(preview.kept.recorded_us, kWholeUs / 2);
  EXPECT_EQ(preview.recorded_us, kWholeUs);
}

// What only the descriptor still counts is left out as well.
TEST(RepairPreviewTest, CountsWhatOnlyTheDescriptorNames) {
  const TempDir dir;
  TwoSeconds(dir).Write();
  const Files files(dir);
  for (const char* extension : {".index", ".264", ".aac"}) files.Cut(extension, 0.5);
  const RepairResult preview = PreviewRepair(dir.path(), {});
  EXPECT_EQ(preview.kept.audio_frames + preview.lost_audio_frames, uint64_t{kFrames});
  EXPECT_EQ(preview.kept.video_frames + preview.lost_video_frames, uint64_t{kFrames});
  EXPECT_EQ(preview.recorded_us, kWholeUs + 5);
  EXPECT_LT(preview.kept.recorded_us, kWholeUs * 6 / 10);
}

TEST(RepairPreviewTest, AWrongTimeIsNoTime) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0);
  for (int64_t i = 1; i <= 10; ++i) {
    builder.Audio(i == 5 ? int64_t{1} << 50 : i * kAudioUs,
                  kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
  }
  builder.Stop(10 * kAudioUs + 1).Write();
  const RepairResult preview = PreviewRepair(dir.path(), {});
  EXPECT_EQ(preview.kept.recorded_us, 10 * kAudioUs);
  EXPECT_EQ(preview.recorded_us, 10 * kAudioUs);
}

TEST(RepairPreviewTest, WritesNothing) {
  const TempDir dir;
  TwoSeconds(dir).RawIndex("torn").Write();
  const auto before = kx_testing::ReadRecord(dir.path());
  const RepairResult preview = PreviewRepair(dir.path(), {});
  EXPECT_TRUE(preview.repaired) << preview.error;
  EXPECT_EQ(kx_testing::ReadRecord(dir.path()), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 4);
}

TEST(RepairPreviewTest, SaysWhyThereIsNoRepair) {
  const TempDir dir;
  RecordBuilder(dir).RawIndex("torn").Write();
  const RepairResult nothing = PreviewRepair(dir.path(), {});
  EXPECT_FALSE(nothing.repaired);
  EXPECT_FALSE(nothing.lacks_channels);
  const TempDir raw;
  RecordBuilder(raw).Start(0).Audio(21333, "raw audio").Write();
  std::filesystem::remove(raw.File("SpeakeRecord.desc"));
  const RepairResult channels = PreviewRepair(raw.path(), {});
  EXPECT_FALSE(channels.repaired);
  EXPECT_TRUE(channels.lacks_channels);
  EXPECT_EQ(channels.kept.recorded_us, kAudioUs);
}

}  // namespace
}  // namespace kxrtc_host
