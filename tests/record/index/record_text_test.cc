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

TEST(RecordTextTest, OneThingIsNotPlural) {
  EXPECT_EQ(CountText(0, "frame"), "0 frames");
  EXPECT_EQ(CountText(1, "frame"), "1 frame");
  EXPECT_EQ(CountText(2, "frame"), "2 frames");
  EXPECT_EQ(CountText(~uint64_t{0}, "byte"), "18446744073709551615 bytes");
  EXPECT_STREQ(ByCount(0, "does", "do"), "do");
  EXPECT_STREQ(ByCount(1, "does", "do"), "does");
  EXPECT_STREQ(ByCount(2, "does", "do"), "do");
}

}  // namespace
}  // namespace kxrtc_host
