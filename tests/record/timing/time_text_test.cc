#include "record/timing/time_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace kxrtc_host {
namespace {

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

TEST(TimeTextTest, WritesEveryTimeExactly) {
  EXPECT_EQ(SecondsText(0), "0.000000 s");
  EXPECT_EQ(SecondsText(-1), "-0.000001 s");
  EXPECT_EQ(SecondsText(12345678), "12.345678 s");
  EXPECT_EQ(SecondsText(kMax), "9223372036854.775807 s");
  EXPECT_EQ(SecondsText(kMin), "-9223372036854.775808 s");
}

struct SecondsCase {
  const char* name;
  const char* text;
  std::optional<int64_t> time_us;
};

class ParseTimeTest : public testing::TestWithParam<SecondsCase> {};

TEST_P(ParseTimeTest, ReadsExactlyOrRefuses) {
  int64_t time_us = 77;
  const bool parsed = ParseTime(GetParam().text, &time_us);
  EXPECT_EQ(parsed, GetParam().time_us.has_value());
  EXPECT_EQ(time_us, GetParam().time_us.value_or(77));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParseTimeTest,
    testing::Values(
        SecondsCase{"Whole", "12", 12000000}, SecondsCase{"Decimals", "12.5", 12500000},
        SecondsCase{"Micro", "0.000001", 1}, SecondsCase{"Negative", "-3.25", -3250000},
        SecondsCase{"PointFirst", ".5", 500000}, SecondsCase{"PointLast", "5.", 5000000},
        SecondsCase{"Largest", "9223372036854.775807", kMax},
        SecondsCase{"TooLarge", "9223372036854.775808", std::nullopt},
        SecondsCase{"SevenDecimals", "0.0000001", std::nullopt},
        SecondsCase{"Empty", "", std::nullopt}, SecondsCase{"Sign", "-", std::nullopt},
        SecondsCase{"TwoPoints", "1.2.3", std::nullopt}, SecondsCase{"Letters", "1s", std::nullopt},
        SecondsCase{"Unit", "12.500000 s", 12500000}, SecondsCase{"UnitAlone", " s", std::nullopt},
        SecondsCase{"Minutes", "1:02.5", 62500000}, SecondsCase{"ManyMinutes", "90:00", 5400000000},
        SecondsCase{"Hours", "1:02:03.456789", 3723456789},
        SecondsCase{"ManyHours", "24:00:00.000", 86400000000},
        SecondsCase{"OneDigitOfSeconds", "1:2", std::nullopt},
        SecondsCase{"SixtySeconds", "1:60", std::nullopt},
        SecondsCase{"SixtyMinutes", "1:60:00", std::nullopt},
        SecondsCase{"NoMinutes", ":30", std::nullopt},
        SecondsCase{"NegativeClock", "-1:00", std::nullopt},
        SecondsCase{"FourParts", "1:00:00:00", std::nullopt},
        SecondsCase{"ClockAndUnit", "1:00 s", std::nullopt}),
    [](const auto& test) { return test.param.name; });

struct ClockCase {
  const char* name;
  int64_t time_us;
  int decimals;
  const char* text;
};

class ClockTextTest : public testing::TestWithParam<ClockCase> {};

TEST_P(ClockTextTest, ReadsAsHoursMinutesSeconds) {
  EXPECT_EQ(ClockText(GetParam().time_us, GetParam().decimals), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Times, ClockTextTest,
                         testing::Values(ClockCase{"Zero", 0, 3, "0:00:00.000"},
                                         ClockCase{"Negative", -1, 3, "0:00:00.000"},
                                         ClockCase{"Milliseconds", 3723456789, 3, "1:02:03.456"},
                                         ClockCase{"Tenths", 3723456789, 1, "1:02:03.4"},
                                         ClockCase{"WholeSeconds", 3723999999, 0, "1:02:03"},
                                         ClockCase{"Microseconds", 3723456789, 6, "1:02:03.456789"},
                                         ClockCase{"LastBeforeAMinute", 59999999, 0, "0:00:59"},
                                         ClockCase{"Minute", 60000000, 0, "0:01:00"},
                                         ClockCase{"Day", 86400000000, 3, "24:00:00.000"},
                                         ClockCase{"Largest", std::numeric_limits<int64_t>::max(),
                                                   6, "2562047788:00:54.775807"},
                                         ClockCase{"Smallest", std::numeric_limits<int64_t>::min(),
                                                   0, "0:00:00"}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kxrtc_host
