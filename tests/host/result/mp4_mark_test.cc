#include "host/result/mp4_mark.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <ostream>
#include <string>

#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::BigEndian32;
using kx_testing::ReadFile;
using kx_testing::TempDir;
using kx_testing::WriteFile;

constexpr char kOrigin[] = "{\"made\":\"of this\"}";

std::string Box(const std::string& type, const std::string& content) {
  return BigEndian32(static_cast<uint32_t>(8 + content.size())) + type + content;
}

std::string Mp4() { return Box("ftyp", "isom") + Box("moov", "index") + Box("mdat", "samples"); }

std::string Mark(const std::string& file) {
  std::string mark;
  EXPECT_TRUE(MakeMp4Mark(
      [&](uint64_t position, void* buffer, uint64_t size) {
        if (position + size > file.size()) return false;
        std::memcpy(buffer, file.data() + position, size);
        return true;
      },
      file.size(), kOrigin, &mark));
  return mark;
}

// `state` of a file with `content`, and its origin.
void ExpectState(const std::string& content, Mp4MarkState state, const std::string& origin) {
  const TempDir dir;
  WriteFile(dir.File("a.mp4"), content);
  std::string read;
  EXPECT_EQ(ReadMp4Mark(dir.File("a.mp4"), &read), state);
  EXPECT_EQ(read, origin);
}

TEST(Mp4MarkTest, TellsWhatTheFileWasMadeOf) {
  ExpectState(Mp4() + Mark(Mp4()), Mp4MarkState::kIntact, kOrigin);
  const std::string mark = Mark(Mp4());
  EXPECT_EQ(mark.substr(0, 8), BigEndian32(static_cast<uint32_t>(mark.size())) + "uuid");
}

struct MarkCase {
  const char* name;
  std::string content;
  Mp4MarkState state;
};

void PrintTo(const MarkCase& test, std::ostream* out) { *out << test.name; }

class Mp4MarkCaseTest : public testing::TestWithParam<MarkCase> {};

TEST_P(Mp4MarkCaseTest, HasItsState) {
  ExpectState(GetParam().content, GetParam().state,
              GetParam().state == Mp4MarkState::kChanged ? kOrigin : "");
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

INSTANTIATE_TEST_SUITE_P(
    Files, Mp4MarkCaseTest,
    testing::Values(
        MarkCase{"Empty", "", Mp4MarkState::kNone}, MarkCase{"NoMark", Mp4(), Mp4MarkState::kNone},
        MarkCase{"NotAnMp4", "anything", Mp4MarkState::kNone},
        MarkCase{"CutInTheMark", (Mp4() + Mark(Mp4())).substr(0, Mp4().size() + 40),
                 Mp4MarkState::kNone},
        MarkCase{"MarkOfAnother", Mp4() + Box("uuid", std::string(40, 'x')), Mp4MarkState::kNone},
        MarkCase{"ShortMark", Mp4() + Box("uuid", "kxrtc result 01."), Mp4MarkState::kNone},
        MarkCase{"HugeMark", Mp4() + Box("uuid", "kxrtc result 01." + std::string(70000, 'x')),
                 Mp4MarkState::kNone},
        MarkCase{"SomethingBehind", Mp4() + Mark(Mp4()) + "x", Mp4MarkState::kChanged},
        MarkCase{"BoxBehind", Mp4() + Mark(Mp4()) + Box("free", ""), Mp4MarkState::kChanged},
        MarkCase{"OtherIndex", Replaced(Mp4(), "index", "Index") + Mark(Mp4()),
                 Mp4MarkState::kChanged},
        MarkCase{"NoIndex", Replaced(Mp4(), "moov", "free") + Mark(Mp4()), Mp4MarkState::kChanged},
        MarkCase{"Longer", Box("free", "") + Mp4() + Mark(Mp4()), Mp4MarkState::kChanged}),
    [](const auto& test) { return test.param.name; });

TEST(Mp4MarkTest, TheSizeAloneTellsNothingOfTheIndex) {
  const TempDir dir;
  const std::string path = dir.File("a.mp4");
  std::string origin;
  WriteFile(path, Replaced(Mp4(), "index", "Index") + Mark(Mp4()));
  EXPECT_EQ(ReadMp4Mark(path, &origin, Mp4MarkCheck::kSize), Mp4MarkState::kIntact);
  EXPECT_EQ(origin, kOrigin);
  WriteFile(path, Mp4() + Mark(Mp4()) + "x");
  EXPECT_EQ(ReadMp4Mark(path, &origin, Mp4MarkCheck::kSize), Mp4MarkState::kChanged);
}

TEST(Mp4MarkTest, NeedsAFileAndAnIndex) {
  const TempDir dir;
  std::string origin;
  EXPECT_EQ(ReadMp4Mark(dir.File("missing.mp4"), &origin), Mp4MarkState::kNoFile);
  EXPECT_EQ(ReadMp4Mark(dir.path(), &origin), Mp4MarkState::kNoFile);
  std::string mark;
  EXPECT_FALSE(MakeMp4Mark([](uint64_t, void*, uint64_t) { return false; }, 100, "", &mark));
}

}  // namespace
}  // namespace kxrtc_host
