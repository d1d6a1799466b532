#include "record/archive/record_glance.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

namespace fs = std::filesystem;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using kx_testing::WriteFile;

RecordGlance Glance(const TempDir& dir) {
  const int folder = ::open(dir.path().c_str(), O_RDONLY | O_DIRECTORY);
  RecordGlance glance = GlanceAtRecord(folder);
  ::close(folder);
  return glance;
}

void ExpectState(const TempDir& dir, RecordState state, const std::string& problem = "") {
  const RecordGlance glance = Glance(dir);
  EXPECT_STREQ(RecordStateName(glance.state), RecordStateName(state));
  EXPECT_EQ(glance.problem, problem);
}

RecordBuilder Record(const TempDir& dir, int frames) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(0, kx_testing::kCamera).Attributes(0, 640, 360).Key(0);
  for (int i = 0; i < frames; ++i) builder.Audio(i * 20000).Delta(i * 20000 + 10000);
  return builder;
}

TEST(RecordGlanceTest, TellsLengthAndSizes) {
  const TempDir dir;
  const RecordBuilder builder = kx_testing::TwoSessions(dir);
  builder.Write();
  WriteFile(dir.File("SpeakerTimeline.ndjson"), "12345");
  const RecordGlance glance = Glance(dir);
  EXPECT_EQ(glance.state, RecordState::kComplete);
  EXPECT_EQ(glance.problem, "");
  EXPECT_EQ(glance.length_us, 70000 + 50000);
  EXPECT_EQ(glance.sizes.index, builder.index().size());
  EXPECT_EQ(glance.sizes.video, builder.video().size());
  EXPECT_EQ(glance.sizes.audio, builder.audio().size());
  EXPECT_EQ(glance.sizes.descriptor, builder.Descriptor().size());
  EXPECT_EQ(glance.sizes.timeline, 5u);
  EXPECT_EQ(glance.sizes.Sum(), builder.index().size() + builder.video().size() +
                                    builder.audio().size() + builder.Descriptor().size() + 5);
}

TEST(RecordGlanceTest, TakesTheLengthFromTheIndexWhereTheDescriptorHasNone) {
  const TempDir dir;
  Record(dir, 10).Stop(190000).Write();
  EXPECT_EQ(Glance(dir).length_us, 190000);
  for (const std::string& descriptor : {std::string(), std::string("{"), std::string(70000, ' ')}) {
    WriteFile(dir.File("SpeakeRecord.desc"), descriptor);
    EXPECT_EQ(Glance(dir).length_us, 190000);
    EXPECT_EQ(Glance(dir).state, RecordState::kComplete);
  }
}

// Of every length, in the tail and beyond it.
TEST(RecordGlanceTest, EveryCutOfAnIndexIsTorn) {
  for (const int frames : {3, 300}) {
    const TempDir dir;
    const RecordBuilder builder = Record(dir, frames).Stop(frames * 20000);
    builder.Write();
    ExpectState(dir, RecordState::kComplete);
    const size_t size = builder.index().size();
    for (size_t cut = 1; cut < size && cut <= 150; ++cut) {
      fs::resize_file(dir.File("SpeakeRecord.index"), size - cut);
      const bool is_start_cut = size - cut < 12;
      ExpectState(dir, is_start_cut ? RecordState::kDamaged : RecordState::kTorn,
                  is_start_cut ? "SpeakeRecord.index does not begin with a start record" : "");
    }
  }
}

struct DamageCase {
  const char* name;
  std::function<void(const TempDir&)> damage;
  RecordState state;
  const char* problem;
};

void PrintTo(const DamageCase& test, std::ostream* out) { *out << test.name; }

class RecordGlanceDamageTest : public testing::TestWithParam<DamageCase> {};

TEST_P(RecordGlanceDamageTest, HasItsState) {
  const TempDir dir;
  Record(dir, 300).Stop(6000000).Write();
  GetParam().damage(dir);
  ExpectState(dir, GetParam().state, GetParam().problem);
}

std::function<void(const TempDir&)> Remove(const char* name) {
  return [=](const TempDir& dir) { fs::remove(dir.File(name)); };
}
std::function<void(const TempDir&)> ShortenByOne(const char* name) {
  return [=](const TempDir& dir) {
    fs::resize_file(dir.File(name), fs::file_size(dir.File(name)) - 1);
  };
}
std::function<void(const TempDir&)> Append(const char* name, size_t bytes) {
  return [=](const TempDir& dir) {
    kx_testing::AppendToFile(dir.File(name), std::string(bytes, 'x'));
  };
}

INSTANTIATE_TEST_SUITE_P(
    Records, RecordGlanceDamageTest,
    testing::Values(
        DamageCase{"NoIndex", Remove("SpeakeRecord.index"), RecordState::kDamaged,
                   "SpeakeRecord.index is missing or not a regular file"},
        DamageCase{"NoVideo", Remove("SpeakeRecord.264"), RecordState::kDamaged,
                   "SpeakeRecord.264 is missing or not a regular file"},
        DamageCase{"NoAudio", Remove("SpeakeRecord.aac"), RecordState::kDamaged,
                   "SpeakeRecord.aac is missing or not a regular file"},
        DamageCase{"NoDescriptor", Remove("SpeakeRecord.desc"), RecordState::kDamaged,
                   "SpeakeRecord.desc is missing or not a regular file"},
        DamageCase{"VideoFifo",
                   [](const TempDir& dir) {
                     fs::remove(dir.File("SpeakeRecord.264"));
                     EXPECT_EQ(::mkfifo(dir.File("SpeakeRecord.264").c_str(), 0600), 0);
                   },
                   RecordState::kDamaged, "SpeakeRecord.264 is missing or not a regular file"},
        DamageCase{"VideoCut", ShortenByOne("SpeakeRecord.264"), RecordState::kDamaged,
                   "the last video frame is not in SpeakeRecord.264"},
        DamageCase{"AudioCut", ShortenByOne("SpeakeRecord.aac"), RecordState::kDamaged,
                   "the last audio frame is not in SpeakeRecord.aac"},
        DamageCase{"MoreVideo", Append("SpeakeRecord.264", 100), RecordState::kComplete, ""},
        DamageCase{"IndexOfZeros",
                   [](const TempDir& dir) {
                     WriteFile(dir.File("SpeakeRecord.index"), std::string(5000, '\0'));
                   },
                   RecordState::kDamaged, "SpeakeRecord.index does not begin with a start record"},
        DamageCase{"EmptyIndex",
                   [](const TempDir& dir) { WriteFile(dir.File("SpeakeRecord.index"), ""); },
                   RecordState::kDamaged, "SpeakeRecord.index does not begin with a start record"},
        DamageCase{"AFewBytesBehindTheStop", Append("SpeakeRecord.index", 23), RecordState::kTorn,
                   ""},
        DamageCase{"BytesBehindTheStop", Append("SpeakeRecord.index", 24), RecordState::kDamaged,
                   "SpeakeRecord.index does not end with index records"}),
    [](const auto& test) { return test.param.name; });

TEST(RecordGlanceTest, ARecordWithoutMediaIsEmpty) {
  const TempDir dir;
  RecordBuilder(dir).Start(0).Stop(1000).Write();
  ExpectState(dir, RecordState::kEmpty);
  RecordBuilder(dir).Start(0).Write();
  ExpectState(dir, RecordState::kEmpty);
  WriteFile(dir.File("SpeakeRecord.index"), "");
  ExpectState(dir, RecordState::kEmpty);
  RecordBuilder(dir).Start(0).Audio(10, "x").Stop(1000).Write();
  ExpectState(dir, RecordState::kComplete);
}

// Numbers at the ends of their ranges do not overflow.
TEST(RecordGlanceTest, BearsHostileNumbers) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(INT64_MIN).RawAudio("x");
  builder.DataRecord(kx_testing::kAudioRecord, INT64_MAX, UINT64_MAX, UINT32_MAX).Stop(INT64_MAX);
  builder.Write();
  ExpectState(dir, RecordState::kDamaged, "the last audio frame is not in SpeakeRecord.aac");
  EXPECT_EQ(Glance(dir).length_us, 0);
}

TEST(RecordGlanceTest, FollowsNoLink) {
  const TempDir dir;
  const TempDir outside;
  Record(outside, 10).Stop(200000).Write();
  Record(dir, 10).Stop(200000).Write();
  fs::remove(dir.File("SpeakeRecord.index"));
  fs::create_symlink(outside.File("SpeakeRecord.index"), dir.File("SpeakeRecord.index"));
  ExpectState(dir, RecordState::kDamaged, "SpeakeRecord.index is missing or not a regular file");
}

}  // namespace
}  // namespace kxrtc_host
