#include "kx_utility/logging.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <iterator>
#include <limits>
#include <new>
#include <random>
#include <string_view>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Restores the process-wide threshold and tag.
class LoggingTest : public ::testing::Test {
 protected:
  ~LoggingTest() override {
    LogMessage::LogToDebug(LS_NONE);
    LogMessage::SetLoggingTag("kx_utility");
  }
};

std::string StandardErrorOf(LoggingSeverity severity) {
  ::testing::internal::CaptureStderr();
  LogMessage("file.cc", "Function", 7, severity) << "text";
  return ::testing::internal::GetCapturedStderr();
}

TEST_F(LoggingTest, StartsEveryLineWithTagSeverityFunctionAndLine) {
  ScopedLogCapture log;
  LogMessage::SetLoggingTag("kxrtc");
  LogMessage("ignored.cc", "ReleaseSpeakerRecordTranscoder", 28, LS_INFO) << "In";
  LogMessage("", "f", -1, LS_ERROR) << "n = " << 5 << ", r = " << 0.5;
  EXPECT_THAT(log.raw(), ElementsAre("[kxrtc][INFO][ReleaseSpeakerRecordTranscoder][28]In\n",
                                     "[kxrtc][ERROR][f][-1]n = 5, r = 0.5\n"));
}

TEST_F(LoggingTest, WritesNothingBelowNoneToStandardErrorAtFirst) {
  EXPECT_EQ("", StandardErrorOf(LS_ERROR));
  EXPECT_EQ("[kx_utility][NONE][Function][7]text\n", StandardErrorOf(LS_NONE));
  EXPECT_EQ("[kx_utility][ERROR][Function][7]text\n", StandardErrorOf(LS_FORCED_ERROR));
}

TEST_F(LoggingTest, WritesStatementsOfAtLeastTheThresholdToStandardError) {
  LogMessage::LogToDebug(LS_WARNING);
  EXPECT_EQ("", StandardErrorOf(LS_INFO));
  EXPECT_EQ("[kx_utility][WARNING][Function][7]text\n", StandardErrorOf(LS_WARNING));
}

TEST_F(LoggingTest, TheThresholdDoesNotGateTheSink) {
  ScopedLogCapture log;
  LogMessage("", "f", 1, LS_SCOPE_DETAIL) << "detail";
  EXPECT_THAT(log.lines(), ElementsAre("DETAIL detail"));
}

TEST_F(LoggingTest, ReplacesTheSinkWithoutTellingTheFormerOne) {
  ScopedLogCapture first;
  {
    ScopedLogCapture second;
    EXPECT_EQ(&second, LogMessage::GetCurrentLogSink());
    LogMessage("", "f", 1, LS_INFO) << "to the second";
    EXPECT_THAT(second.lines(), ElementsAre("INFO to the second"));
  }
  EXPECT_EQ(nullptr, LogMessage::GetCurrentLogSink());
  LogMessage("", "f", 1, LS_INFO) << "to nobody";
  EXPECT_THAT(first.lines(), IsEmpty());
}

TEST_F(LoggingTest, ForwardsDumpScopeLogToTheSinkIfThereIsOne) {
  struct Sink : LogSink {
    void OnLogMessage(const char*, LoggingSeverity) override {}
    void SetDumpScopeLog(bool enable) override { calls.push_back(enable); }
    std::vector<bool> calls;
  } sink;
  LogMessage::DumpScopeLog(true);
  LogMessage::AddLogSink(&sink);
  LogMessage::DumpScopeLog(true);
  LogMessage::DumpScopeLog(false);
  LogMessage::AddLogSink(nullptr);
  EXPECT_THAT(sink.calls, ElementsAre(true, false));
}

TEST_F(LoggingTest, OutputToDebugIgnoresTheSeverity) {
  ::testing::internal::CaptureStderr();
  LogMessage::OutputToDebug("raw text", LS_SCOPE_DETAIL);
  EXPECT_EQ("raw text", ::testing::internal::GetCapturedStderr());
}

TEST_F(LoggingTest, CountsTimeFromProgramLoad) {
  const double first = LogMessage::DiffTime();
  EXPECT_GE(first, 0.0);
  EXPECT_GT(g_start_time_, int64_t{1500000000} * 1000000);
  EXPECT_GE(LogMessage::DiffTime(), first);
}

// What reaches the sink of a statement into which `insert` puts its text, without the prefix.
template <typename Insert>
std::string TextOf(Insert insert) {
  ScopedLogCapture log;
  {
    LogMessage message("", "f", 1, LS_INFO);
    insert(message);
  }
  const std::string prefix = "[kx_utility][INFO][f][1]";
  const std::string statement = log.raw().at(0);
  EXPECT_EQ(prefix, statement.substr(0, prefix.size()));
  return statement.substr(prefix.size());
}

// The same of an ordinary string stream.
template <typename Insert>
std::string PlainTextOf(Insert insert) {
  std::ostringstream stream;
  insert(stream);
  return stream.str() + "\n";
}

template <typename Insert>
void ExpectTextOfAnyStream(Insert insert) {
  EXPECT_EQ(PlainTextOf(insert), TextOf(insert));
}

enum PlainEnum { kPlainEnumerator = 5 };

struct Insertable {
  operator int() const { return 1; }  // NOLINT: the conversion must not be preferred.
  friend std::ostream& operator<<(std::ostream& stream, const Insertable&) {
    return stream << "inserted";
  }
};

TEST_F(LoggingTest, InsertsEveryTypeAsAnyStringStreamDoes) {
  char array[8] = "array";
  char* pointer = array;
  const std::string text = "string";
  ExpectTextOfAnyStream([&](auto& stream) {
    stream << 'c' << static_cast<signed char>('s') << static_cast<unsigned char>('u') << "literal"
           << array << pointer << static_cast<const char*>(pointer) << text << std::string("moved")
           << std::string_view("view");
  });
  ExpectTextOfAnyStream([&](auto& stream) {
    stream << reinterpret_cast<const unsigned char*>(array)
           << reinterpret_cast<const signed char*>(array) << static_cast<const void*>(array) << true
           << false << kPlainEnumerator << LS_WARNING << Insertable()
           << std::filesystem::path("a/b") << nullptr;
  });
  ExpectTextOfAnyStream([](auto& stream) {
    stream << short{-7} << ' ' << static_cast<unsigned short>(65535) << ' ' << -1 << ' ' << 1u
           << ' ' << -2L << ' ' << 2UL << ' ' << -3LL << ' ' << 3ULL << ' ' << 0.1 << ' ' << 1e30
           << ' ' << 2.5f;
  });
  ExpectTextOfAnyStream([](auto& stream) {
    stream << std::numeric_limits<int>::min() << ' ' << std::numeric_limits<int>::max() << ' '
           << std::numeric_limits<unsigned>::max() << ' ' << std::numeric_limits<int64_t>::min()
           << ' ' << std::numeric_limits<int64_t>::max() << ' '
           << std::numeric_limits<uint64_t>::max();
  });
}

TEST_F(LoggingTest, InsertsEveryDoubleAsAnyStringStreamDoes) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  for (const double number :
       {0.0,          -0.0,       1.0,   -1.5,      0.1,      1e5,
        999999.0,     999999.5,   1e6,   1234567.0, 1e-4,     1e-5,
        9.9999995e-5, 2.5,        1e100, 1e-300,    4.9e-324, 1.7976931348623157e308,
        kInfinity,    -kInfinity, kNan,  -kNan}) {
    ExpectTextOfAnyStream([&](auto& stream) { stream << number << ' ' << float(number); });
  }
  std::mt19937_64 random(2026);
  for (int i = 0; i < 2000; ++i) {
    const uint64_t bits = random();
    double number;
    std::memcpy(&number, &bits, sizeof(number));
    ExpectTextOfAnyStream([&](auto& stream) { stream << number; });
    ExpectTextOfAnyStream([&](auto& stream) { stream << double(int64_t(bits) >> 30) * 1e-6; });
  }
  ExpectTextOfAnyStream([](auto& stream) { stream << 1e30L << std::fixed << 0.5 << 2.0F; });
}

TEST_F(LoggingTest, TakesAnythingAtAnyPlaceOfAStatement) {
  const int object = 0;
  ExpectTextOfAnyStream([&](auto& stream) {
    stream << "a" << 1 << &object << "b" << 2 << 0.25 << true << std::string("c") << 'd'
           << std::setprecision(2) << 1.234 << short{3} << std::string_view("e");
  });
}

TEST_F(LoggingTest, GivesEveryStatementAFreshFormat) {
  EXPECT_EQ("ff1.5000\n", TextOf([](auto& stream) {
              stream << std::hex << 255 << std::showpoint << std::setprecision(5) << 1.5;
            }));
  EXPECT_EQ("2551.5\n", TextOf([](auto& stream) { stream << 255 << 1.5; }));
}

// Logs about every statement that it takes, but its own.
class NestedSink : public LogSink {
 public:
  void OnLogMessage(const char* message, LoggingSeverity severity) override {
    lines.emplace_back(message);
    if (severity == LS_INFO)
      LogMessage("", "g", 2, LS_WARNING) << "seen " << 1 << ' ' << std::hex << 255;
  }
  void SetDumpScopeLog(bool) override {}
  std::vector<std::string> lines;
};

TEST_F(LoggingTest, StatementsMayBeNested) {
  NestedSink sink;
  LogMessage::AddLogSink(&sink);
  const auto logged = [] {
    LogMessage("", "f", 3, LS_ERROR) << "inner " << std::hex << 16;
    return 32;
  };
  LogMessage("", "f", 1, LS_INFO) << "outer " << std::oct << 8 << ' ' << logged();
  LogMessage::AddLogSink(nullptr);
  EXPECT_THAT(sink.lines, ElementsAre("[kx_utility][ERROR][f][3]inner 10\n",
                                      "[kx_utility][INFO][f][1]outer 10 40\n",
                                      "[kx_utility][WARNING][g][2]seen 1 ff\n"));
}

TEST_F(LoggingTest, HeedsTheFormatOfTheStream) {
  ExpectTextOfAnyStream([](auto& stream) {
    stream << std::hex << 255 << ' ' << -1 << std::showbase << std::uppercase << 48879u << std::dec
           << std::showpos << 5 << ' ' << 6LL;
  });
  ExpectTextOfAnyStream([](auto& stream) {
    stream << std::setw(5) << 7 << std::setw(5) << "ab" << std::setfill('*') << std::left
           << std::setw(6) << std::string("cd") << std::setw(4) << 'e' << 8 << "f";
  });
  ExpectTextOfAnyStream([](auto& stream) {
    stream << std::oct << 8u << std::setw(8) << std::internal << -9L << std::endl << std::flush;
  });
  ExpectTextOfAnyStream([](auto& stream) { stream << std::unitbuf << 1 << "a" << 'b'; });
}

// "1.234.567", and "ja" for true.
struct GroupedDigits : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
  std::string do_truename() const override { return "ja"; }
};

TEST_F(LoggingTest, HeedsTheLocaleOfTheStream) {
  const std::locale grouped(std::locale::classic(), new GroupedDigits);
  ExpectTextOfAnyStream([&](auto& stream) {
    std::ostringstream& whole = stream;
    whole.imbue(grouped);
    stream << 1234567 << ' ' << 7654321u << ' ' << -1234567L << ' ' << 1234567ull << " text " << 'c'
           << ' ' << short{12345} << ' ' << 1234.5 << ' ' << std::boolalpha << true;
    whole.imbue(std::locale::classic());
    stream << 1234567;
  });
}

TEST_F(LoggingTest, HeedsTheGlobalLocaleButForThePrefix) {
  const std::locale usual =
      std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
  ScopedLogCapture log;
  LogMessage("", "f", 12345, LS_INFO) << 1234567;
  LogMessage("", std::string(700, 'f').c_str(), 12345, LS_INFO) << 1234567;
  ExpectTextOfAnyStream([](auto& stream) { stream << 1234567 << ' ' << 2345678ul << 0.5; });
  std::locale::global(usual);
  EXPECT_THAT(log.raw(),
              ElementsAre("[kx_utility][INFO][f][12345]1.234.567\n",
                          "[kx_utility][INFO][" + std::string(700, 'f') + "][12345]1.234.567\n"));
}

// Declared here and defined nowhere: that they can be logged shows when this program links.
struct Limits {
  static const int kInt = -5;
  static const unsigned kUnsigned = 6;
  static const char kChar = 'c';
  static const bool kBool = true;
  static const short kShort = -7;
  static const int64_t kWide = int64_t{1} << 40;
  static const unsigned char kByte = 'b';
};

template <typename Stream>
void InsertLimits(Stream& stream) {
  stream << Limits::kInt << Limits::kUnsigned << Limits::kChar << Limits::kBool << Limits::kShort
         << Limits::kWide << Limits::kByte;
}

TEST_F(LoggingTest, TakesNumbersByValue) {
  ExpectTextOfAnyStream([](auto& stream) { InsertLimits(stream); });
  ScopedLogCapture log;
  LogMessage("", "f", 1, LS_INFO) << Limits::kInt;
  LogMessage("", "f", 1, LS_INFO) << Limits::kBool << Limits::kChar;
  LogMessage("", "f", 1, LS_INFO) << Limits::kShort << Limits::kWide;
  EXPECT_THAT(log.lines(), ElementsAre("INFO -5", "INFO 1c", "INFO -71099511627776"));
}

TEST_F(LoggingTest, KeepsWhatABrokenStreamHeld) {
  ExpectTextOfAnyStream([](auto& stream) {
    stream << "before" << static_cast<const char*>(nullptr) << "after" << 5;
  });
}

TEST_F(LoggingTest, HeedsAMovedPosition) {
  EXPECT_EQ("J234567\n", TextOf([](std::ostream& stream) {
              stream << "1234567";
              const auto back = stream.tellp();
              stream.seekp(back - std::streamoff(7));
              stream << "J";
              stream.seekp(back);
            }));
}

TEST_F(LoggingTest, HoldsTextOfAnyLength) {
  for (size_t size = 470; size < 530; ++size) {
    const std::string text(size, 'x');
    ASSERT_EQ(text + "\n", TextOf([&](auto& message) { message << text; }));
    ASSERT_EQ(text + "12345\n", TextOf([&](auto& message) { message << text << 12345; }));
  }
  const std::string text(1 << 20, 'y');
  EXPECT_EQ(text + text + "\n", TextOf([&](auto& message) { message << text << text; }));
}

struct StreamBuffer : std::stringbuf {
  static const char* Begin(const std::stringbuf& buffer) {
    return (buffer.*&StreamBuffer::pbase)();
  }
};

TEST_F(LoggingTest, HoldsTheTextOfAStatementOfUsualLengthInItself) {
  LogMessage message("", "f", 1, LS_INFO);
  message << std::string(450, 'x') << 12345;
  const char* const text = StreamBuffer::Begin(*message.stream().rdbuf());
  EXPECT_GE(text, reinterpret_cast<const char*>(&message));
  EXPECT_LT(text, reinterpret_cast<const char*>(&message + 1));
}

// Whether a statement into which `insert` puts its text makes its stream, which stands at its end.
template <typename Insert>
bool MakesAStream(Insert insert) {
  alignas(LogMessage) unsigned char memory[sizeof(LogMessage)];
  std::fill(std::begin(memory), std::end(memory), 0xA5);
  auto* const message = new (memory) LogMessage("", "f", 1, LS_INFO);
  insert(*message);
  const bool made = std::any_of(std::end(memory) - sizeof(std::ostringstream), std::end(memory),
                                [](unsigned char byte) { return byte != 0xA5; });
  message->~LogMessage();
  return made;
}

TEST_F(LoggingTest, MakesAStreamOnlyWhereItIsNeeded) {
  EXPECT_FALSE(MakesAStream([](LogMessage& message) {
    message << "ssrc = " << 3141592653U << std::string(", size = ") << size_t{14142} << 'c' << true
            << 0.5 << short{1} << -5 << std::string(400, 'x');
  }));
  EXPECT_TRUE(MakesAStream([](LogMessage& message) { message << std::hex << 5; }));
  EXPECT_TRUE(MakesAStream([](LogMessage& message) { message << std::string(500, 'x'); }));
}

TEST_F(LoggingTest, TakesATagAndAFunctionOfAnyLength) {
  ScopedLogCapture log;
  const std::string tag(700, 't');
  const std::string function(700, 'f');
  LogMessage::SetLoggingTag(tag.c_str());
  LogMessage("", function.c_str(), 1, LS_INFO) << "text";
  EXPECT_THAT(log.raw(), ElementsAre("[" + tag + "][INFO][" + function + "][1]text\n"));
}

TEST_F(LoggingTest, MayBeUsedAsAStringStreamBeforeItIsEmitted) {
  ScopedLogCapture log;
  LogMessage message("", "f", 1, LS_INFO);
  message << "a" << 1;
  std::ostringstream& stream = message;
  EXPECT_EQ("[kx_utility][INFO][f][1]a1", stream.str());
}

struct SeverityCase {
  int value;
  const char* name;
};

class SeverityNameTest : public ::testing::TestWithParam<SeverityCase> {};

TEST_P(SeverityNameTest, PrintsTheName) {
  EXPECT_STREQ(GetParam().name, SeverityName(static_cast<LoggingSeverity>(GetParam().value)));
}

INSTANTIATE_TEST_SUITE_P(Severities, SeverityNameTest,
                         ::testing::Values(SeverityCase{-2, "UNKNOWN"}, SeverityCase{-1, "DETAIL"},
                                           SeverityCase{0, "SENSITIVE"}, SeverityCase{1, "VERBOSE"},
                                           SeverityCase{2, "INFO"}, SeverityCase{3, "WARNING"},
                                           SeverityCase{4, "ERROR"}, SeverityCase{5, "NONE"},
                                           SeverityCase{7, "UNKNOWN"}, SeverityCase{101, "UNKNOWN"},
                                           SeverityCase{102, "INFO"}, SeverityCase{103, "WARNING"},
                                           SeverityCase{104, "ERROR"}));

TEST(FilenameFromPathTest, StartsBehindTheLastSeparatorOfEitherKind) {
  EXPECT_STREQ("c.log", FilenameFromPath("a\\b/c.log"));
  EXPECT_STREQ("c.log", FilenameFromPath("a/b\\c.log"));
  EXPECT_STREQ("c.log", FilenameFromPath("c.log"));
  EXPECT_STREQ("", FilenameFromPath("a/"));
  EXPECT_STREQ("", FilenameFromPath(""));
}

}  // namespace
}  // namespace kx_utility
