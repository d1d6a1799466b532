#include "files/gathered_output.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>

#include "tests/testing/failing_disk.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::CountWriteCalls;

constexpr uint64_t kBlock = GatheredOutput::kBlockBytes;

class GatheredOutputTest : public ::testing::Test {
 protected:
  GatheredOutputTest() { EXPECT_TRUE(file_.Open(path_, false)) << file_.error_text(); }

  bool Copy(uint64_t position, const std::string& bytes) {
    return output_.Write(position, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  uint8_t* Room(const std::string& bytes) {
    uint8_t* const room = output_.Room(static_cast<uint32_t>(bytes.size()));
    std::memcpy(room, bytes.data(), bytes.size());
    return room;
  }
  std::string Content() {
    EXPECT_TRUE(output_.Flush());
    EXPECT_TRUE(file_.Commit(false));
    return kx_testing::ReadFile(path_);
  }

  kx_testing::TempDir dir_;
  const std::string path_ = dir_.File("out");
  OutputFile file_;
  GatheredOutput output_{&file_};
};

TEST_F(GatheredOutputTest, WritesEachPieceAtItsPlace) {
  ASSERT_TRUE(Copy(0, "abcdef"));
  ASSERT_TRUE(output_.Write(6, Room("ghi"), 3));
  ASSERT_TRUE(Copy(2, "CD"));
  ASSERT_TRUE(Copy(9, "jk"));
  EXPECT_EQ(Content(), "abCDefghijk");
}

TEST_F(GatheredOutputTest, NothingGatheredIsNothingWritten) {
  EXPECT_EQ(CountWriteCalls([this] { EXPECT_TRUE(output_.Flush()); }), 0u);
  EXPECT_EQ(Content(), "");
}

TEST_F(GatheredOutputTest, BytesInARoomAreNotCopied) {
  uint8_t* const room = Room("room");
  ASSERT_TRUE(output_.Write(0, room, 4));
  room[0] = 'R';
  EXPECT_EQ(Content(), "Room");
}

TEST_F(GatheredOutputTest, BytesElsewhereMayChangeAtOnce) {
  std::string bytes(3 * kBlock, 'a');
  ASSERT_TRUE(Copy(0, bytes.substr(0, 10)));
  for (size_t size : {size_t{10}, bytes.size()}) {
    bytes[0] = 'a';
    ASSERT_TRUE(
        output_.Write(size == 10 ? 10 : 20, reinterpret_cast<const uint8_t*>(bytes.data()), size));
    bytes[0] = 'b';
  }
  EXPECT_EQ(Content(), std::string(20 + bytes.size(), 'a'));
}

TEST_F(GatheredOutputTest, CallsOfTheSystemWriteWholeBlocks) {
  const std::string frame(10000, 'x');
  ASSERT_TRUE(Copy(0, "head"));
  const size_t calls = CountWriteCalls([&] {
    for (uint64_t i = 0; i < 1000; ++i) {
      ASSERT_TRUE(output_.Write(4 + i * frame.size(), Room(frame), frame.size()));
      ASSERT_EQ(file_.size() % kBlock, 0u);
    }
  });
  EXPECT_EQ(calls, (4 + 1000 * frame.size()) / kBlock);
  EXPECT_EQ(Content().size(), 4 + 1000 * frame.size());
}

// Pieces of all sizes, in rooms and elsewhere, the latest room written after what follows it.
TEST_F(GatheredOutputTest, WritesWhatWasGivenInAnyMixture) {
  std::minstd_rand random(7);
  std::string expected;
  uint8_t* waiting = nullptr;
  std::string waiting_bytes;
  const auto some_bytes = [&] {
    const size_t limits[] = {30, 3000, 70000, kBlock - 1, 2 * kBlock, 5 * kBlock};
    const size_t kind = random() % 40;
    std::string bytes(1 + random() % limits[kind < 6 ? kind : kind % 2], '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
  };
  for (int i = 0; i < 1500; ++i) {
    const std::string bytes = some_bytes();
    if (random() % 3 == 0) {
      ASSERT_TRUE(Copy(expected.size(), bytes));
      expected += bytes;
      continue;
    }
    uint8_t* const room = Room(bytes);
    if (waiting != nullptr) {
      ASSERT_TRUE(output_.Write(expected.size(), waiting, waiting_bytes.size()));
      expected += waiting_bytes;
    }
    waiting = room;
    waiting_bytes = bytes;
  }
  EXPECT_TRUE(Content() == expected);
}

TEST_F(GatheredOutputTest, ManySmallPiecesFarApartInMemoryAreWritten) {
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    const std::string bytes(1 + i % 3, static_cast<char>('a' + i % 26));
    uint8_t* const room = Room(bytes);
    ASSERT_TRUE(Copy(expected.size(), "-"));
    ASSERT_TRUE(output_.Write(expected.size() + 1, room, bytes.size()));
    expected += "-" + bytes;
  }
  EXPECT_EQ(Content(), expected);
}

TEST_F(GatheredOutputTest, AFailedWriteFailsAllThatFollow) {
  const kx_testing::ScopedFileSizeLimit limit(100);
  ASSERT_TRUE(Copy(0, std::string(200, 'x')));
  EXPECT_FALSE(output_.Flush());
  EXPECT_EQ(file_.error_number(), EFBIG);
  EXPECT_EQ(file_.size(), 100u);
  EXPECT_FALSE(Copy(0, "y"));
  EXPECT_FALSE(output_.Flush());
}

TEST_F(GatheredOutputTest, AFileThatIsNotWantedFailsToo) {
  bool is_wanted = true;
  file_.set_is_wanted([&] { return is_wanted; });
  ASSERT_TRUE(Copy(0, "x"));
  is_wanted = false;
  EXPECT_FALSE(output_.Flush());
  EXPECT_EQ(file_.error_number(), ECANCELED);
}

}  // namespace
}  // namespace kxrtc_host
