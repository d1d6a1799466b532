#include "tools/kxrtc/size_text.h"

#include <gtest/gtest.h>

namespace {

using kxrtc_tool::ParseSize;

TEST(SizeTextTest, ReadsTwoWholeNumbers) {
  uint32_t width = 0;
  uint32_t height = 0;
  EXPECT_TRUE(ParseSize("160x90", &width, &height));
  EXPECT_EQ(width, 160u);
  EXPECT_EQ(height, 90u);
  EXPECT_TRUE(ParseSize("0x99999", &width, &height));
  EXPECT_EQ(width, 0u);
  EXPECT_EQ(height, 99999u);
}

TEST(SizeTextTest, LeavesAnythingElseAlone) {
  for (const char* text :
       {"", "x", "160", "160x", "x90", "160X90", "160x90x", "160x90x2", " 160x90", "160x 90",
        "+160x90", "-160x90", "160x9.0", "100000x90", "160x100000"}) {
    uint32_t width = 1;
    uint32_t height = 2;
    EXPECT_FALSE(ParseSize(text, &width, &height)) << text;
    EXPECT_EQ(width, 1u) << text;
    EXPECT_EQ(height, 2u) << text;
  }
}

}  // namespace
