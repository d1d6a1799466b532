#include "kx_utility/BaseUtility.h"

#include <gmock/gmock.h>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(CheckPointersTest, IsTrueOnlyWhenThereArePointersAndNoneIsNull) {
  int value = 0;
  void* p = &value;
  void* null = nullptr;
  EXPECT_FALSE(check_pointers(0));
  EXPECT_TRUE(check_pointers(1, p));
  EXPECT_FALSE(check_pointers(1, null));
  EXPECT_FALSE(check_pointers(2, p, null));
  EXPECT_FALSE(check_pointers(2, null, p));
  EXPECT_TRUE(check_pointers(3, p, p, p));
}

struct FormatCase {
  const char* name;
  uint32_t buffer_size;
  const char* text;
  bool result;
  const char* buffer;
};

class GenerateDebugLogStringTest : public ::testing::TestWithParam<FormatCase> {};

TEST_P(GenerateDebugLogStringTest, HoldsOneByteBackButTestsTheFullSize) {
  ScopedLogCapture log;
  char buffer[16] = {};
  EXPECT_EQ(GetParam().result,
            GenerateDebugLogString(buffer, GetParam().buffer_size, "%s", GetParam().text));
  EXPECT_STREQ(GetParam().buffer, buffer);
  if (GetParam().result) {
    EXPECT_THAT(log.lines(), IsEmpty());
  } else {
    EXPECT_THAT(log.lines(), ElementsAre("WARNING buffer is not enough, buffer_size:" +
                                         std::to_string(GetParam().buffer_size)));
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, GenerateDebugLogStringTest,
                         ::testing::Values(FormatCase{"Empty", 8, "", true, ""},
                                           FormatCase{"Fits", 8, "123456", true, "123456"},
                                           FormatCase{"CutByOneIsASuccess", 8, "1234567", true,
                                                      "123456"},
                                           FormatCase{"TooLong", 8, "12345678", false, "123456"},
                                           FormatCase{"NoRoomAtAll", 0, "x", false, ""},
                                           FormatCase{"OnlyTheHeldBackByte", 1, "x", false, ""}),
                         [](const auto& param_info) { return param_info.param.name; });

}  // namespace
}  // namespace kx_utility
