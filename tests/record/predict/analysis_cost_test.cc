// What the analysis of a record reads: each file about once, in large pieces.
#include <gmock/gmock.h>

#include "files/read_only_file.h"
#include "record/predict/record_analysis.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::CountReadBytes;
using kx_testing::CountReadCalls;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;

constexpr uint64_t kFewCalls = 40;  // Of the counting, the descriptor and the ends of files.

// A session of `pictures` pictures of `size` bytes or more, each with a frame of sound.
RecordBuilder LongRecord(const TempDir& dir, int pictures, size_t size) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(0, kx_testing::kCamera).Attributes(0, 640, 360);
  for (int i = 0; i < pictures; ++i) {
    const int64_t time_us = i * int64_t{21333};
    const std::string picture = i == 0 ? kx_testing::KeyFrame640x360() : kx_testing::DeltaFrame();
    builder.Video(time_us, picture + std::string(size, 'x'));
    builder.Audio(time_us, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
  }
  builder.Stop(pictures * int64_t{21333}).Write();
  return builder;
}

TEST(AnalysisCostTest, ReadsManyPicturesWithOneCall) {
  const TempDir dir;
  const RecordBuilder record = LongRecord(dir, 10000, 1000);
  const size_t bytes = record.index().size() + record.video().size() + record.audio().size();
  EXPECT_LE(CountReadCalls([&] { EXPECT_EQ(AnalyseRecord(dir.path()).index_records, 20004u); }),
            bytes / ReadOnlyFile::kWindowSize + kFewCalls);
}

TEST(AnalysisCostTest, ReadsNoPictureTwice) {
  const TempDir dir;
  for (const size_t size : {size_t{1000}, ReadOnlyFile::kWindowSize / 3}) {
    const RecordBuilder record = LongRecord(dir, 200, size);
    const size_t bytes = record.index().size() + record.video().size() + record.audio().size();
    EXPECT_LE(CountReadBytes([&] { EXPECT_EQ(AnalyseRecord(dir.path()).index_records, 404u); }),
              bytes + bytes / 10 + ReadOnlyFile::kWindowSize)
        << size;
  }
}

// One walk along the index serves the outline and all checks.
TEST(AnalysisCostTest, ReadsTheIndexOnce) {
  const TempDir dir;
  const RecordBuilder record = LongRecord(dir, 20000, 1);
  const size_t others = record.video().size() + record.audio().size();
  EXPECT_LE(CountReadBytes([&] { EXPECT_EQ(AnalyseRecord(dir.path()).index_records, 40004u); }),
            others + record.index().size() + ReadOnlyFile::kWindowSize);
}

}  // namespace
}  // namespace kxrtc_host
