#include "host/bundle/tar_gz_archive.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "files/read_only_file.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/shell.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::Quoted;
using ::kx_testing::ReadFile;
using ::kx_testing::RunShell;
using ::kx_testing::TempDir;
using ::testing::HasSubstr;
using ::testing::Not;

class TarGzArchiveTest : public testing::Test {
 protected:
  std::string Path(const char* name) const { return dir_.File(name); }

  static ArchiveEntry File(const std::string& name, uint64_t size) {
    ArchiveEntry entry;
    entry.name = name;
    entry.size = size;
    return entry;
  }

  static void WriteTwoFiles(const std::string& path) {
    OutputFile output;
    ASSERT_TRUE(output.Open(path, false));
    TarGzArchive archive(&output);
    ASSERT_TRUE(archive.Begin(File("folder/one", 3)));
    ASSERT_TRUE(archive.Write("abc", 3));
    ArchiveEntry two = File("folder/two", 5);
    two.is_writable = false;
    ASSERT_TRUE(archive.Begin(two));
    ASSERT_TRUE(archive.Write("de", 2));
    ASSERT_TRUE(archive.Write("fgh", 3));
    ASSERT_TRUE(archive.Finish()) << archive.error_text();
    ASSERT_TRUE(output.Commit(false));
  }

  void Unpack(const std::string& path) const {
    const auto result = RunShell("tar -xzf " + Quoted(path) + " -C " + Quoted(dir_.path()));
    EXPECT_EQ(result.exit_status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
  }

  const TempDir dir_;
};

TEST_F(TarGzArchiveTest, IsUnpackedByTar) {
  WriteTwoFiles(Path("a.tar.gz"));
  Unpack(Path("a.tar.gz"));
  EXPECT_EQ(ReadFile(Path("folder/one")), "abc");
  EXPECT_EQ(ReadFile(Path("folder/two")), "defgh");
}

TEST_F(TarGzArchiveTest, NamesNeitherUserNorTime) {
  WriteTwoFiles(Path("a.tar.gz"));
  WriteTwoFiles(Path("b.tar.gz"));
  EXPECT_EQ(ReadFile(Path("a.tar.gz")), ReadFile(Path("b.tar.gz")));
  const auto listed =
      RunShell("TZ=UTC tar --numeric-owner --full-time -tvzf " + Quoted(Path("a.tar.gz")));
  EXPECT_EQ(listed.output,
            "-rw-r--r-- 0/0               3 1970-01-01 00:00:00 folder/one\n"
            "-r--r--r-- 0/0               5 1970-01-01 00:00:00 folder/two\n");
  const auto words = RunShell("zcat " + Quoted(Path("a.tar.gz")) + " | tr -d '\\0'");
  EXPECT_THAT(words.output, Not(HasSubstr("root")));
}

TEST_F(TarGzArchiveTest, KeepsHoles) {
  constexpr uint64_t kSize = uint64_t{1} << 40;
  constexpr uint64_t kData = uint64_t{1} << 30;
  OutputFile output;
  ASSERT_TRUE(output.Open(Path("holes.tar.gz"), false));
  TarGzArchive archive(&output);
  ArchiveEntry entry = File("holes", kSize);
  entry.has_holes = true;
  entry.data = {{kData, kData + 4096}};
  ASSERT_TRUE(archive.Begin(entry));
  ASSERT_TRUE(archive.Skip(kData));
  const std::string data(4096, 'd');
  ASSERT_TRUE(archive.Write(data.data(), data.size()));
  ASSERT_TRUE(archive.Skip(kSize - kData - data.size()));
  ArchiveEntry empty = File("hole", kData);
  empty.has_holes = true;
  ASSERT_TRUE(archive.Begin(empty));
  ASSERT_TRUE(archive.Skip(kData));
  ASSERT_TRUE(archive.Finish()) << archive.error_text();
  ASSERT_TRUE(output.Commit(false));
  EXPECT_LT(std::filesystem::file_size(Path("holes.tar.gz")), 10000u);
  Unpack(Path("holes.tar.gz"));
  for (const auto& [name, size] : {std::pair("holes", kSize), std::pair("hole", kData)}) {
    struct stat status {};
    ASSERT_EQ(::stat(Path(name).c_str(), &status), 0);
    EXPECT_EQ(static_cast<uint64_t>(status.st_size), size);
    EXPECT_LT(status.st_blocks * 512, 1 << 20);
  }
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(Path("holes")), ReadOnlyFile::State::kOpen);
  EXPECT_EQ(file.NextData(0), kData);
  EXPECT_EQ(file.NextHole(kData), kData + 4096);
}

TEST_F(TarGzArchiveTest, TellsThatTheDiskIsFull) {
  OutputFile output;
  ASSERT_TRUE(output.Open(Path("a.tar.gz"), false));
  const kx_testing::ScopedFileSizeLimit limit(1000);
  TarGzArchive archive(&output);
  ASSERT_TRUE(archive.Begin(File("noise", 1 << 20)));
  uint32_t noise = 1;
  bool written = true;
  for (int i = 0; i < 1 << 18 && written; ++i) {
    noise = noise * 1664525 + 1013904223;
    written = archive.Write(&noise, sizeof(noise));
  }
  EXPECT_FALSE(written && archive.Finish());
  EXPECT_THAT(archive.error_text(), HasSubstr("a.tar.gz: "));
  EXPECT_FALSE(archive.Begin(File("next", 0)));
  EXPECT_FALSE(archive.Finish());
}

}  // namespace
}  // namespace kxrtc_host
