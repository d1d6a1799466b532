#include "kx_utility/sequential_reader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <utility>

#include "tests/testing/process_resources.h"
#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::CountReadCalls;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;

constexpr size_t kBlock = SequentialReader::kBlockSize;

std::string Pattern(size_t size) {
  std::string text(size, ' ');
  for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 251);
  return text;
}

class SequentialReaderTest : public ::testing::Test {
 protected:
  SequentialReader OpenWith(const std::string& content) {
    WriteFile(path_, content);
    return SequentialReader(File::Open(path_));
  }

  static std::string Taken(SequentialReader* reader, size_t size) {
    const uint8_t* bytes = reader->Take(size);
    return bytes == nullptr ? "none" : std::string(reinterpret_cast<const char*>(bytes), size);
  }

  static std::string ReadText(SequentialReader* reader, size_t size) {
    std::string text(size, '?');
    text.resize(reader->Read(reinterpret_cast<uint8_t*>(text.data()), size));
    return text;
  }

  static size_t Position(const SequentialReader& reader) {
    size_t position = ~size_t{0};
    EXPECT_TRUE(reader.CurrentPosition(&position));
    return position;
  }

  const TempDir dir_;
  const std::string path_ = dir_.File("a");
};

// The peer is the plain file: same bytes, same positions, whatever the order of the calls.
TEST_F(SequentialReaderTest, DeliversWhatTheFileDelivers) {
  const std::string content = Pattern(3 * kBlock + 1234);
  std::mt19937 random(1);
  for (int run = 0; run < 20; ++run) {
    SequentialReader reader = OpenWith(content);
    size_t position = 0;
    for (int step = 0; step < 200; ++step) {
      const size_t size = 1 + random() % (run % 2 == 0 ? 5000 : kBlock);
      switch (random() % 8) {
        case 0:
          position = random() % (content.size() + 10);
          ASSERT_TRUE(reader.Seek(position));
          break;
        case 1:
        case 2: {
          const std::string expected = content.substr(std::min(position, content.size()), size);
          ASSERT_EQ(expected, ReadText(&reader, size));
          position += expected.size();
          break;
        }
        default: {
          const bool whole = position + size <= content.size();
          ASSERT_EQ(whole ? content.substr(position, size) : "none", Taken(&reader, size));
          if (whole) position += size;
        }
      }
      ASSERT_EQ(position, Position(reader));
    }
  }
}

TEST_F(SequentialReaderTest, TakesAWholeBlockFromAnyPlace) {
  const std::string content = Pattern(2 * kBlock);
  SequentialReader reader = OpenWith(content);
  EXPECT_EQ(content.substr(0, 1), Taken(&reader, 1));
  EXPECT_EQ(content.substr(1, kBlock), Taken(&reader, kBlock));
  EXPECT_EQ(content.substr(1 + kBlock), ReadText(&reader, kBlock));
}

TEST_F(SequentialReaderTest, DeliversWhatIsAppendedLater) {
  SequentialReader reader = OpenWith("abc");
  EXPECT_EQ("none", Taken(&reader, 4));
  EXPECT_EQ("ab", Taken(&reader, 2));
  WriteFile(path_, "abcdef");
  EXPECT_EQ("cdef", Taken(&reader, 4));
  EXPECT_EQ("", ReadText(&reader, 4));
}

TEST_F(SequentialReaderTest, EndsWhereAFileThatWasCutOffEnds) {
  const std::string content = Pattern(4 * kBlock);
  SequentialReader reader = OpenWith(content);
  EXPECT_EQ(content.substr(0, kBlock), Taken(&reader, kBlock));
  std::filesystem::resize_file(path_, 2 * kBlock);
  EXPECT_EQ(content.substr(kBlock, kBlock), ReadText(&reader, 2 * kBlock));
  EXPECT_EQ("none", Taken(&reader, 1));
  EXPECT_EQ(2 * kBlock, Position(reader));
}

TEST_F(SequentialReaderTest, KeepsItsPositionWhereTheSystemRefusesASeek) {
  SequentialReader reader = OpenWith("abcdef");
  EXPECT_EQ("ab", Taken(&reader, 2));
  EXPECT_FALSE(reader.Seek(size_t{1} << 63));
  EXPECT_EQ(2u, Position(reader));
  EXPECT_EQ("cd", Taken(&reader, 2));
}

TEST_F(SequentialReaderTest, SeeksBehindTheEnd) {
  SequentialReader reader = OpenWith("abc");
  ASSERT_TRUE(reader.Seek(10));
  EXPECT_EQ(10u, Position(reader));
  EXPECT_EQ("none", Taken(&reader, 1));
  ASSERT_TRUE(reader.Seek(1));
  EXPECT_EQ("bc", Taken(&reader, 2));
}

TEST_F(SequentialReaderTest, APipeHasNoPositions) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  ASSERT_EQ(3, write(ends[1], "abc", 3));
  close(ends[1]);
  SequentialReader reader{File(ends[0])};
  size_t position = 7;
  EXPECT_FALSE(reader.CurrentPosition(&position));
  EXPECT_EQ(7u, position);
  EXPECT_FALSE(reader.Seek(0));
  EXPECT_EQ("abc", Taken(&reader, 3));
}

TEST_F(SequentialReaderTest, AFileThatIsNotOpenHasNothing) {
  for (SequentialReader* reader : {new SequentialReader, new SequentialReader(File())}) {
    size_t value = 7;
    EXPECT_FALSE(reader->IsOpen());
    EXPECT_FALSE(reader->CurrentPosition(&value));
    EXPECT_FALSE(reader->GetSize(&value));
    EXPECT_FALSE(reader->Seek(0));
    EXPECT_EQ("none", Taken(reader, 1));
    EXPECT_EQ("", ReadText(reader, 1));
    EXPECT_FALSE(reader->Close());
    EXPECT_EQ(7u, value);
    delete reader;
  }
}

TEST_F(SequentialReaderTest, IsLikeNewAfterCloseAndAssignment) {
  SequentialReader reader = OpenWith("abcdef");
  EXPECT_EQ("ab", Taken(&reader, 2));
  EXPECT_TRUE(reader.Close());
  EXPECT_EQ("none", Taken(&reader, 1));
  reader = OpenWith("xyz");
  EXPECT_EQ(0u, Position(reader));
  EXPECT_EQ("xyz", Taken(&reader, 3));
}

// Counts of system calls do not depend on the machine.
TEST_F(SequentialReaderTest, ReadsManySmallPiecesWithFewCalls) {
  SequentialReader reader = OpenWith(Pattern(100 * 10000));
  const size_t calls = CountReadCalls([&] {
    for (int i = 0; i < 10000; ++i) ASSERT_NE(nullptr, reader.Take(100));
  });
  EXPECT_LE(calls, 14u);
}

// A record whose positions jump must not cost a block for each frame.
TEST_F(SequentialReaderTest, ReadsLittleAheadAfterASeek) {
  SequentialReader reader = OpenWith(Pattern(4 * kBlock));
  ASSERT_NE(nullptr, reader.Take(kBlock));
  ASSERT_TRUE(reader.Seek(2 * kBlock));
  ASSERT_NE(nullptr, reader.Take(1));
  WriteFile(path_, std::string(4 * kBlock, 'n'));
  ASSERT_TRUE(reader.Seek(2 * kBlock + 8192));
  EXPECT_EQ("n", Taken(&reader, 1));  // Was not read ahead.
}

}  // namespace
}  // namespace kx_utility
