#include "files/read_only_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/testing/process_resources.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;

TEST(ReadOnlyFileTest, ReadsWholePiecesAndStopsAtTheEnd) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("data"), "0123456789");
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("data")), ReadOnlyFile::State::kOpen);
  EXPECT_EQ(file.size(), 10u);
  char buffer[16] = {};
  EXPECT_EQ(file.Read(4, buffer, 3), 3u);
  EXPECT_EQ(std::string(buffer, 3), "456");
  EXPECT_EQ(file.Read(8, buffer, 16), 2u);
  EXPECT_EQ(file.Read(10, buffer, 1), 0u);
  EXPECT_EQ(file.Read(~uint64_t{0}, buffer, 1), 0u);
}

TEST(ReadOnlyFileTest, ShowsPiecesOfAnyPlaceThroughItsWindow) {
  const TempDir dir;
  std::string content(ReadOnlyFile::kWindowSize * 2 + 5, 'a');
  content[ReadOnlyFile::kWindowSize - 1] = 'x';
  content[ReadOnlyFile::kWindowSize] = 'y';
  kx_testing::WriteFile(dir.File("data"), content);
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("data")), ReadOnlyFile::State::kOpen);
  const auto view = [&file](uint64_t position, size_t size) {
    const uint8_t* bytes = file.View(position, size);
    return bytes ? std::string(reinterpret_cast<const char*>(bytes), size) : "none";
  };
  EXPECT_EQ(view(0, 2), "aa");
  EXPECT_EQ(view(ReadOnlyFile::kWindowSize - 1, 2), "xy");
  EXPECT_EQ(view(0, 1), "a");
  EXPECT_EQ(view(content.size() - 1, 1), "a");
  EXPECT_EQ(view(content.size(), 0), "");
  EXPECT_EQ(view(content.size() - 1, 2), "none");
  EXPECT_EQ(view(~uint64_t{0}, 2), "none");
}

TEST(ReadOnlyFileTest, ReadsFarPiecesAloneAndTheRestInWholeWindows) {
  constexpr uint64_t kPieces = 100;
  constexpr uint64_t kDistance = 2 * ReadOnlyFile::kWindowSize;
  constexpr size_t kOfTheCounting = 4096;
  const TempDir dir;
  kx_testing::WriteFile(dir.File("data"), "");
  std::filesystem::resize_file(dir.File("data"), kPieces * kDistance);
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("data")), ReadOnlyFile::State::kOpen);
  const auto view_each = [&](uint64_t distance, uint64_t pieces) {
    for (uint64_t i = 1; i <= pieces; ++i) EXPECT_NE(file.View(i * distance, 10), nullptr);
  };
  EXPECT_LE(kx_testing::CountReadBytes([&] { view_each(kDistance, kPieces - 1); }),
            kPieces * 4096 + kOfTheCounting);
  EXPECT_LE(kx_testing::CountReadCalls([&] { view_each(10, 2 * ReadOnlyFile::kWindowSize / 10); }),
            8u);
}

TEST(ReadOnlyFileTest, ShowsNothingOfAFileThatBecameShorter) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("data"), std::string(100, 'a'));
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("data")), ReadOnlyFile::State::kOpen);
  std::filesystem::resize_file(dir.File("data"), 10);
  EXPECT_EQ(file.View(20, 5), nullptr);
  EXPECT_EQ(file.View(8, 5), nullptr);
  EXPECT_NE(file.View(5, 5), nullptr);
}

TEST(ReadOnlyFileTest, TellsWhichPositionsAreInReach) {
  TempDir dir;
  kx_testing::WriteFile(dir.File("f"), "0123456789");
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("f")), ReadOnlyFile::State::kOpen);
  EXPECT_TRUE(file.CanSeekTo(0));
  EXPECT_TRUE(file.CanSeekTo(1000));
  EXPECT_FALSE(file.CanSeekTo(~uint64_t{0}));
  EXPECT_FALSE(file.CanSeekTo(uint64_t{1} << 63));
}

TEST(ReadOnlyFileTest, KnowsDataFromHoles) {
  constexpr uint64_t kBlock = 1 << 20;
  const TempDir dir;
  const std::string block(kBlock, 'd');
  kx_testing::WriteFile(dir.File("data"), block);
  std::filesystem::resize_file(dir.File("data"), 2 * kBlock);
  kx_testing::AppendToFile(dir.File("data"), block);
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("data")), ReadOnlyFile::State::kOpen);
  EXPECT_EQ(file.NextData(0), 0u);
  EXPECT_EQ(file.NextHole(0), kBlock);
  EXPECT_EQ(file.NextHole(kBlock + 1), kBlock + 1);
  EXPECT_EQ(file.NextData(kBlock), 2 * kBlock);
  EXPECT_EQ(file.NextHole(2 * kBlock), 3 * kBlock);
  EXPECT_EQ(file.NextHole(3 * kBlock), 3 * kBlock);
}

TEST(ReadOnlyFileTest, FollowsALinkToARegularFile) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("data"), "0123");
  std::filesystem::create_symlink(dir.File("data"), dir.File("link"));
  ReadOnlyFile file;
  EXPECT_EQ(file.Open(dir.File("link")), ReadOnlyFile::State::kOpen);
}

}  // namespace
}  // namespace kxrtc_host
