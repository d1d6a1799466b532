#include "record/bundle/record_bundle.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "record/predict/record_analysis.h"
#include "tests/testing/bundled_record.h"
#include "tests/testing/conference_record.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::BundledRecord;
using ::kx_testing::ExpectBundleTellsTheSame;
using ::kx_testing::ReadFile;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kTimeline[] = "SpeakerTimeline.ndjson";

// Notes the names and lengths; can fail.
class NotingSink final : public ArchiveSink {
 public:
  bool Begin(const ArchiveEntry& entry) override {
    calls.push_back(entry.name);
    if (!entry.is_writable) read_only.push_back(entry.name);
    left_ = entry.size;
    return calls.size() != fails_at;
  }
  bool Write(const void* /*data*/, size_t size) override { return Skip(size); }
  bool Skip(uint64_t size) override {
    EXPECT_LE(size, left_);
    left_ -= size;
    return true;
  }
  bool Finish() override {
    calls.push_back("finish");
    return true;
  }
  const std::string& error_text() const override { return error_; }

  std::vector<std::string> calls;
  std::vector<std::string> read_only;
  size_t fails_at = 0;

 private:
  uint64_t left_ = 0;
  std::string error_ = "the disk is full";
};

class RecordBundleTest : public testing::Test {
 protected:
  BundleResult Pack(const IsWanted& is_wanted = nullptr) {
    const RecordSummary summary = AnalyseRecord(dir_.path());
    BundleInput input;
    input.folder = dir_.path();
    input.summary = &summary;
    input.versions = "{}\n";
    return PackRecord(input, is_wanted, &sink_);
  }

  TempDir dir_;
  NotingSink sink_;
};

TEST_F(RecordBundleTest, PacksTheFilesOfTheRecordAndNoOther) {
  kx_testing::TwoSessions(dir_).Write();
  WriteFile(dir_.File(kTimeline), "{\"speaker_timeline\":1}\n");
  WriteFile(dir_.File("notes.txt"), "private");
  const BundleResult result = Pack();
  EXPECT_TRUE(result.packed) << result.error;
  EXPECT_THAT(
      sink_.calls,
      ElementsAre("kxrtc-bundle/verify.json", "kxrtc-bundle/versions.json",
                  "kxrtc-bundle/record/SpeakeRecord.index", "kxrtc-bundle/record/SpeakeRecord.264",
                  "kxrtc-bundle/record/SpeakeRecord.aac", "kxrtc-bundle/record/SpeakeRecord.desc",
                  "kxrtc-bundle/record/SpeakerTimeline.ndjson", "finish"));
  ASSERT_EQ(result.files.size(), 7u);
  EXPECT_EQ(result.files[3].bytes, std::filesystem::file_size(dir_.File("SpeakeRecord.264")));
}

TEST_F(RecordBundleTest, LeavesOutWhatCannotBeOpened) {
  kx_testing::TwoSessions(dir_).Write();
  std::filesystem::remove(dir_.File("SpeakeRecord.264"));
  std::filesystem::remove(dir_.File("SpeakeRecord.desc"));
  std::filesystem::create_directory(dir_.File("SpeakeRecord.desc"));
  EXPECT_TRUE(Pack().packed);
  EXPECT_THAT(sink_.calls, ElementsAre("kxrtc-bundle/verify.json", "kxrtc-bundle/versions.json",
                                       "kxrtc-bundle/record/SpeakeRecord.index",
                                       "kxrtc-bundle/record/SpeakeRecord.aac", "finish"));
}

TEST_F(RecordBundleTest, TellsWhyItFailed) {
  kx_testing::TwoSessions(dir_).Write();
  for (size_t call = 1; call <= 6; ++call) {
    sink_ = {};
    sink_.fails_at = call;
    const BundleResult result = Pack();
    EXPECT_FALSE(result.packed);
    EXPECT_FALSE(result.record_failed);
    EXPECT_EQ(result.error, "the disk is full");
  }
}

TEST_F(RecordBundleTest, EndsWhenItIsNotWantedAnyMore) {
  kx_testing::TwoSessions(dir_).Write();
  const BundleResult result = Pack([] { return false; });
  EXPECT_FALSE(result.packed);
  EXPECT_EQ(result.error, kStoppedText);
}

TEST_F(RecordBundleTest, TellsTheSameOfRealMedia) {
  kx_testing::WriteLongConference(dir_, true);
  ExpectBundleTellsTheSame(dir_.path());
}

TEST_F(RecordBundleTest, TellsTheSameOfExchangedFiles) {
  const std::vector<std::string> names = {"SpeakeRecord.index", "SpeakeRecord.264",
                                          "SpeakeRecord.aac", "SpeakeRecord.desc"};
  for (const std::string& one : names) {
    for (const std::string& other : names) {
      if (one >= other) continue;
      SCOPED_TRACE(one + " " + other);
      const TempDir dir;
      kx_testing::ConferenceRecord record(dir, kx_testing::MakeAudio(60, 2, true));
      record.Start().Speaks(kx_testing::kCamera, {"dora", 320, 180, "main", 24, 12});
      record.Stop().builder().Write();
      std::filesystem::rename(dir.File(one), dir.File("spare"));
      std::filesystem::rename(dir.File(other), dir.File(one));
      std::filesystem::rename(dir.File("spare"), dir.File(other));
      ExpectBundleTellsTheSame(dir.path());
    }
  }
}

TEST_F(RecordBundleTest, NamesNeitherTheFolderNorPeople) {
  kx_testing::TwoSessions(dir_).Write();
  std::filesystem::remove(dir_.File("SpeakeRecord.264"));
  WriteFile(dir_.File(kTimeline),
            "{\"speaker_timeline\":1,\"title\":\"Weekly\"}\n"
            "{\"event\":\"joined\",\"name\":\"Ada\",\"us\":2,\"user_id\":1001}\n");
  const BundledRecord bundled(dir_.path());
  EXPECT_THAT(bundled.verify_document(), Not(HasSubstr(dir_.path())));
  EXPECT_THAT(bundled.verify_document(), HasSubstr("\"record/SpeakeRecord.264: "));
  EXPECT_THAT(ReadFile(bundled.dir().File(kTimeline)), Not(HasSubstr("Ada")));
}

std::set<std::string> Runs(const std::string& content) {
  constexpr size_t kRun = 8;
  std::set<std::string> runs;
  for (size_t at = 0; at + kRun <= content.size(); ++at) runs.insert(content.substr(at, kRun));
  return runs;
}

TEST_F(RecordBundleTest, HasNoRunOfEightBytesOfPicturesAndSound) {
  const std::vector<std::string> sounds = kx_testing::MakeAudio(60, 2, true);
  kx_testing::ConferenceRecord record(dir_, sounds);
  record.Start().Speaks(kx_testing::kCamera, {"dora", 320, 180, "main", 24, 12});
  record.Stop().builder().Write();
  const BundledRecord bundled(dir_.path());
  const std::set<std::string> packed_sound = Runs(ReadFile(bundled.dir().File("SpeakeRecord.aac")));
  for (const std::string& sound : sounds) {
    for (const std::string& run : Runs(sound.substr(7))) {
      EXPECT_EQ(packed_sound.count(run), 0u);
    }
  }
  const std::string video = ReadFile(dir_.File("SpeakeRecord.264"));
  const std::set<std::string> packed = Runs(ReadFile(bundled.dir().File("SpeakeRecord.264")));
  const std::string start("\0\0\1", 3);
  size_t slices = 0;
  for (size_t at = video.find(start); at != video.npos; at = video.find(start, at + 1)) {
    const int type = video[at + 3] & 0x1F;
    if (type != 1 && type != 5) continue;
    ++slices;
    constexpr size_t kLongestHeader = 12;  // Of a slice of this encoder.
    const size_t end = std::min(video.find(start, at + 1), video.size());
    for (const std::string& run : Runs(video.substr(at + kLongestHeader, end - at - 16))) {
      EXPECT_EQ(packed.count(run), 0u) << at;
    }
  }
  EXPECT_GT(slices, 5u);
}

// The super-user may write any file: another user packs the record.
TEST_F(RecordBundleTest, KeepsThatAFileIsReadOnly) {
  constexpr uid_t kNobody = 65534;
  kx_testing::TwoSessions(dir_).Write();
  std::filesystem::permissions(dir_.path(), std::filesystem::perms{0755});
  for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
    const bool is_audio = entry.path().extension() == ".aac";
    std::filesystem::permissions(entry.path(), std::filesystem::perms(is_audio ? 0444 : 0666));
  }
  const uid_t user = ::getuid();
  if (user == 0) {
    ASSERT_EQ(::setreuid(kNobody, -1), 0);
  }
  EXPECT_TRUE(Pack().packed);
  EXPECT_EQ(::setreuid(user, -1), 0);
  EXPECT_THAT(sink_.read_only, ElementsAre("kxrtc-bundle/record/SpeakeRecord.aac"));
}

}  // namespace
}  // namespace kxrtc_host
