#include "kx_utility/log_line.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace kx_utility {
namespace {

std::string Line(uint32_t sequence_number, double time_s, uint32_t thread_id,
                 const std::string& text) {
  std::vector<char> buffer(text.size() + kLogLineOverhead, '#');
  const size_t length =
      FormatLogLine(buffer.data(), sequence_number, time_s, thread_id, text.data(), text.size());
  EXPECT_EQ('\0', buffer.at(length));
  return std::string(buffer.data(), length);
}

std::string Printed(uint32_t sequence_number, double time_s, uint32_t thread_id,
                    const std::string& text) {
  std::vector<char> buffer(text.size() + kLogLineOverhead);
  std::snprintf(buffer.data(), buffer.size(), "%08u\t%10.9f\t[%u] %s\t\n", sequence_number, time_s,
                thread_id, text.c_str());
  return buffer.data();
}

TEST(LogLineTest, HoldsNumberTimeThreadAndText) {
  EXPECT_EQ("00000001\t0.000250000\t[7] [kxrtc][INFO][f][1]In \t\n",
            Line(1, 0.00025, 7, "[kxrtc][INFO][f][1]In\n"));
}

TEST(LogLineTest, TurnsEveryNewlineIntoASpace) {
  EXPECT_EQ("00000002\t1.000000000\t[0]  a  b \t\n", Line(2, 1, 0, "\na\n\nb\n"));
  EXPECT_EQ("00000002\t1.000000000\t[0] \t\n", Line(2, 1, 0, ""));
}

TEST(LogLineTest, PrintsNumbersAsPrintfDoes) {
  for (const uint32_t number : {0u, 1u, 9u, 10u, 99999999u, 100000000u, 999999999u, 4294967295u}) {
    EXPECT_EQ(Printed(number, 0, number, "t"), Line(number, 0, number, "t"));
  }
}

TEST(LogLineTest, PrintsRemarkableTimesAsPrintfDoes) {
  constexpr double kMax = std::numeric_limits<double>::max();
  constexpr double kMin = std::numeric_limits<double>::min();
  for (const double magnitude : {0.0,
                                 kMin,
                                 5e-324,
                                 4.9e-10,
                                 5e-10,
                                 5.1e-10,
                                 1e-9,
                                 1e-7,
                                 5e-7,
                                 1e-6,
                                 1.5e-6,
                                 0.1,
                                 0.5,
                                 0.999999,
                                 0.9999995,
                                 0.9999999999,
                                 1.0,
                                 12.345678,
                                 59.9999999999,
                                 3999999.999999,
                                 4e6,
                                 4000000.000001,
                                 4194304.5,
                                 1e9,
                                 1780000000.123456,
                                 9007199254740992.0,
                                 1e15,
                                 1e22,
                                 1e300,
                                 kMax,
                                 std::numeric_limits<double>::infinity(),
                                 std::nan("")}) {
    for (const double time_s : {magnitude, -magnitude}) {
      EXPECT_EQ(Printed(1, time_s, 1, "t"), Line(1, time_s, 1, "t"));
    }
  }
}

TEST(LogLineTest, PrintsAnyTimeAsPrintfDoes) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 20000; ++i) {
    // Of a microsecond clock, within 1 to 2^62 microseconds.
    const auto microseconds = static_cast<int64_t>(random() >> (2 + i % 62));
    double time_s = static_cast<double>(microseconds) / 1e6;
    ASSERT_EQ(Printed(1, time_s, 1, "t"), Line(1, time_s, 1, "t"));
    ASSERT_EQ(Printed(1, -time_s, 1, "t"), Line(1, -time_s, 1, "t"));
    // And the doubles beside.
    time_s = std::nextafter(time_s, i % 2 == 0 ? 1e300 : -1e300);
    ASSERT_EQ(Printed(1, time_s, 1, "t"), Line(1, time_s, 1, "t"));
    // Anything.
    time_s = static_cast<double>(random()) / static_cast<double>(random() | 1);
    ASSERT_EQ(Printed(1, time_s, 1, "t"), Line(1, time_s, 1, "t"));
  }
}

}  // namespace
}  // namespace kx_utility
