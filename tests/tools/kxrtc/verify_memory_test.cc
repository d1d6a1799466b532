// The memory of the commands that look at a whole record does not grow with the record.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::TempDir;

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // Both keep what was freed.

// A session of `pictures`, of which every eighth has a frame of sound.
void WriteRecord(const TempDir& dir, int pictures) {
  constexpr int64_t kDistanceUs = 2666;
  kx_testing::RecordBuilder builder(dir);
  builder.Start(0).Channel(0, kx_testing::kCamera).Attributes(0, 640, 360);
  for (int i = 0; i < pictures; ++i) {
    const int64_t time_us = i * kDistanceUs;
    builder.Video(time_us, i % 100 == 0 ? kx_testing::KeyFrame640x360() : kx_testing::DeltaFrame());
    if (i % 8 == 0) builder.Audio(time_us, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
  }
  builder.Stop(pictures * kDistanceUs).Write();
}

// The largest that a child process has had so far.
long PeakKilobytesOfChildren() {
  rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_maxrss;
}

// Ordered by the memory that each takes, since a peak never falls.
TEST(VerifyMemoryTest, DoesNotGrowWithTheRecord) {
  constexpr long kMostGrowth = 3 * 1024;  // Less than 11 bytes for each record of the index.
  const TempDir small;
  const TempDir large;
  WriteRecord(small, 10000);
  WriteRecord(large, 270000);
  for (const std::string command : {"verify --quick ", "verify ", "report "}) {
    const std::string page = command == "report " ? " " + Quoted(small.File("page.html")) : "";
    EXPECT_LE(RunKxrtc(command + Quoted(small.path()) + page).exit_status, 13);
    const long before = PeakKilobytesOfChildren();
    EXPECT_LE(RunKxrtc(command + Quoted(large.path()) + page).exit_status, 13);
    EXPECT_LE(PeakKilobytesOfChildren() - before, kMostGrowth) << command;
  }
}

#endif

}  // namespace
