#include "record/index/record_text.h"

#include <gtest/gtest.h>

namespace kxrtc_host {
namespace {

TEST(RecordTextTest, WritesSizesForPeople) {
  EXPECT_EQ(BytesText(0), "0 B");
  EXPECT_EQ(BytesText(999), "999 B");
  EXPECT_EQ(BytesText(1000), "1.0 kB");
  EXPECT_EQ(BytesText(999950), "1.0 MB");
  EXPECT_EQ(BytesText(~uint64_t{0}), "18.4 EB");
}

}  // namespace
}  // namespace kxrtc_host
