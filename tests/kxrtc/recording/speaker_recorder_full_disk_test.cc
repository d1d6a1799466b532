// A recording on a disk that ends at each of its bytes in turn.
#include <gtest/gtest.h>

#include "tests/testing/size_limited_recording.h"

namespace kxrtc {
namespace {

TEST(RecorderFullDiskTest, StopsAndFinalizesWhereverTheDiskEnds) {
  for (uint64_t limit = 0; limit <= kx_testing::kSizeLimitedRecordingBytes; ++limit) {
    kx_testing::RecordUnderSizeLimit(limit);
  }
}

}  // namespace
}  // namespace kxrtc
