#include "host/record/text.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace kxrtc_host {
namespace {

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

TEST(TextTest, WritesEveryTimeExactly) {
  EXPECT_EQ(SecondsText(0), "0.000000 s");
  EXPECT_EQ(SecondsText(-1), "-0.000001 s");
  EXPECT_EQ(SecondsText(12345678), "12.345678 s");
  EXPECT_EQ(SecondsText(kMax), "9223372036854.775807 s");
  EXPECT_EQ(SecondsText(kMin), "-9223372036854.775808 s");
}

TEST(TextTest, WritesSizesForPeople) {
  EXPECT_EQ(BytesText(0), "0 B");
  EXPECT_EQ(BytesText(999), "999 B");
  EXPECT_EQ(BytesText(1000), "1.0 kB");
  EXPECT_EQ(BytesText(999950), "1.0 MB");
  EXPECT_EQ(BytesText(~uint64_t{0}), "18.4 EB");
}

TEST(TextTest, SaturatesAtTheEndsOfTheRange) {
  EXPECT_EQ(SaturatedAdd(kMax, 1), kMax);
  EXPECT_EQ(SaturatedAdd(kMin, -1), kMin);
  EXPECT_EQ(SaturatedSubtract(kMin, 1), kMin);
  EXPECT_EQ(SaturatedSubtract(0, kMin), kMax);
  EXPECT_EQ(SaturatedSubtract(5, 7), -2);
}

struct SecondsCase {
  const char* name;
  const char* text;
  std::optional<int64_t> time_us;
};

class ParseSecondsTest : public testing::TestWithParam<SecondsCase> {};

TEST_P(ParseSecondsTest, ReadsExactlyOrRefuses) {
  int64_t time_us = 77;
  const bool parsed = ParseSeconds(GetParam().text, &time_us);
  EXPECT_EQ(parsed, GetParam().time_us.has_value());
  EXPECT_EQ(time_us, GetParam().time_us.value_or(77));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParseSecondsTest,
    testing::Values(SecondsCase{"Whole", "12", 12000000}, SecondsCase{"Decimals", "12.5", 12500000},
                    SecondsCase{"Micro", "0.000001", 1}, SecondsCase{"Negative", "-3.25", -3250000},
                    SecondsCase{"PointFirst", ".5", 500000},
                    SecondsCase{"PointLast", "5.", 5000000},
                    SecondsCase{"Largest", "9223372036854.775807", kMax},
                    SecondsCase{"TooLarge", "9223372036854.775808", std::nullopt},
                    SecondsCase{"SevenDecimals", "0.0000001", std::nullopt},
                    SecondsCase{"Empty", "", std::nullopt}, SecondsCase{"Sign", "-", std::nullopt},
                    SecondsCase{"TwoPoints", "1.2.3", std::nullopt},
                    SecondsCase{"Letters", "1s", std::nullopt}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kxrtc_host
