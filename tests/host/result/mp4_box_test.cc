#include "host/result/mp4_box.h"

#include <gtest/gtest.h>

#include <string>

#include "files/output_file.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

std::string Bytes(uint64_t value, int count) {
  std::string bytes;
  for (int i = count - 1; i >= 0; --i) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}

// A header of 8 bytes that tells this size, whatever the content.
std::string Header(uint32_t size, const std::string& type) { return Bytes(size, 4) + type; }
// One of 16 bytes.
std::string LongHeader(uint64_t size, const std::string& type) {
  return Bytes(1, 4) + type + Bytes(size, 8);
}

std::string Box(const std::string& type, const std::string& content) {
  return Header(static_cast<uint32_t>(8 + content.size()), type) + content;
}

struct BoxCase {
  const char* name;
  std::string file;
  std::string found;  // The content of the first "moov".
};

class Mp4BoxTest : public ::testing::TestWithParam<BoxCase> {
 protected:
  void Write(const std::string& content) {
    ASSERT_TRUE(file_.Open(dir_.File("a.mp4"), false));
    ASSERT_TRUE(file_.WriteAt(0, content.data(), content.size()));
    box_ = {0, content.size()};
  }

  std::string Content() {
    std::string content(box_.end - box_.begin, ' ');
    EXPECT_TRUE(file_.ReadAt(box_.begin, &content[0], content.size()));
    return content;
  }

  kx_testing::TempDir dir_;
  OutputFile file_;
  const Mp4Reader reader_ = [this](uint64_t position, void* buffer, uint64_t size) {
    return file_.ReadAt(position, buffer, size);
  };
  Mp4Box box_;
};

TEST_P(Mp4BoxTest, IsFound) {
  Write(GetParam().file);
  ASSERT_TRUE(FindMp4Box(reader_, "moov", &box_));
  EXPECT_EQ(Content(), GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(
    Files, Mp4BoxTest,
    ::testing::Values(
        BoxCase{"Alone", Box("moov", "content"), "content"}, BoxCase{"Empty", Box("moov", ""), ""},
        BoxCase{"BehindOthers", Box("ftyp", "isom") + Box("free", "") + Box("moov", "it"), "it"},
        BoxCase{"TheFirstOfTwo", Box("moov", "one") + Box("moov", "two"), "one"},
        BoxCase{"NotInAnother", Box("udta", Box("moov", "no")) + Box("moov", "yes"), "yes"},
        BoxCase{"LongSize", LongHeader(19, "moov") + "abc", "abc"},
        BoxCase{"BehindALongSize", LongHeader(18, "mdat") + "xy" + Box("moov", "it"), "it"},
        BoxCase{"LongSizeWithoutContent", LongHeader(16, "moov"), ""},
        BoxCase{"BeforeDamage", Box("moov", "it") + Header(3, "mdat"), "it"},
        BoxCase{"SizeOfManyBytes", Box("free", std::string(0x12345, 'x')) + Box("moov", "it"),
                "it"}),
    [](const auto& test) { return test.param.name; });

class NoMp4BoxTest : public Mp4BoxTest {};

TEST_P(NoMp4BoxTest, LeavesTheSearchedBoxAsItWas) {
  Write(GetParam().file);
  EXPECT_FALSE(FindMp4Box(reader_, "moov", &box_));
  EXPECT_EQ(box_.begin, 0u);
  EXPECT_EQ(box_.end, GetParam().file.size());
}

INSTANTIATE_TEST_SUITE_P(
    Files, NoMp4BoxTest,
    ::testing::Values(BoxCase{"NoBytes", "", ""},
                      BoxCase{"OtherBoxes", Box("ftyp", "isom") + Box("mdat", ""), ""},
                      BoxCase{"OfOtherCase", Box("MOOV", ""), ""},
                      BoxCase{"AByteTooFewForAHeader", Header(8, "moov").substr(0, 7), ""},
                      BoxCase{"SizeZero", Header(0, "free") + Box("moov", ""), ""},
                      BoxCase{"SizeInsideItsHeader", Header(7, "free") + Box("moov", ""), ""},
                      BoxCase{"SizeOneMoreThanThereIs", Header(10, "moov") + "x", ""},
                      BoxCase{"LargestSize", Header(0xFFFFFFFF, "moov"), ""},
                      BoxCase{"LongSizeCutOff", LongHeader(16, "moov").substr(0, 15), ""},
                      BoxCase{"LongSizeInsideItsHeader", LongHeader(15, "free") + Box("moov", ""),
                              ""},
                      BoxCase{"LongSizeOneMoreThanThereIs", LongHeader(17, "moov"), ""},
                      BoxCase{"LargestLongSize", LongHeader(UINT64_MAX, "moov"), ""}),
    [](const auto& test) { return test.param.name; });

using Mp4BoxSearchTest = Mp4BoxTest;

TEST_F(Mp4BoxSearchTest, GoesDownOneBoxAtATime) {
  Write(Box("ftyp", "") + Box("moov", Box("mvhd", "a") + Box("trak", Box("tkhd", "deep"))) +
        Box("tkhd", "outside"));
  ASSERT_TRUE(FindMp4Box(reader_, "moov", &box_));
  ASSERT_TRUE(FindMp4Box(reader_, "trak", &box_));
  ASSERT_TRUE(FindMp4Box(reader_, "tkhd", &box_));
  EXPECT_EQ(Content(), "deep");
}

TEST_F(Mp4BoxSearchTest, NeverLeavesTheSearchedBox) {
  Write(Box("moov", Box("mvhd", "")) + Box("trak", ""));
  ASSERT_TRUE(FindMp4Box(reader_, "moov", &box_));
  EXPECT_FALSE(FindMp4Box(reader_, "trak", &box_));
}

TEST_F(Mp4BoxSearchTest, DoesNotWalkForEver) {
  std::string boxes;
  for (int i = 0; i < kMaxMp4Boxes - 1; ++i) boxes += Box("free", "");
  Write(boxes + Box("moov", ""));
  EXPECT_TRUE(FindMp4Box(reader_, "moov", &box_));
  Write(boxes + Box("free", "") + Box("moov", ""));
  EXPECT_FALSE(FindMp4Box(reader_, "moov", &box_));
}

TEST_F(Mp4BoxSearchTest, FailsWhereTheFileCannotBeRead) {
  Write(Box("free", ""));
  box_.end += 100;
  EXPECT_FALSE(FindMp4Box(reader_, "moov", &box_));
  EXPECT_EQ(box_.begin, 0u);
}

}  // namespace
}  // namespace kxrtc_host
