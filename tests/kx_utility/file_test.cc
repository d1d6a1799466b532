#include "kx_utility/file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::ReadFile;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;

constexpr size_t kBeyondSigned = size_t{1} << 63;

const uint8_t* Bytes(const std::string& text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

size_t WriteText(File* file, const std::string& text) {
  return file->Write(Bytes(text), text.size());
}

std::string ReadText(File* file, size_t length) {
  std::string text(length, '?');
  text.resize(file->Read(reinterpret_cast<uint8_t*>(text.data()), length));
  return text;
}

bool IsValid(PlatformFile fd) { return fcntl(fd, F_GETFD) != -1; }

TEST(PlatformFileTest, OpensOnlyWhatExists) {
  TempDir dir;
  EXPECT_EQ(kInvalidPlatformFileValue, OpenPlatformFile(dir.File("a")));
  WriteFile(dir.File("a"), "text");
  const PlatformFile fd = OpenPlatformFile(dir.File("a"));
  EXPECT_NE(kInvalidPlatformFileValue, fd);
  EXPECT_EQ(O_RDWR, fcntl(fd, F_GETFL) & O_ACCMODE);
  EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD));
  EXPECT_FALSE(ClosePlatformFile(fd));
  EXPECT_EQ("text", ReadFile(dir.File("a")));
}

TEST(PlatformFileTest, CreatesForTheOwnerAloneAndEmptiesWhatExists) {
  TempDir dir;
  WriteFile(dir.File("old"), "text");
  EXPECT_FALSE(ClosePlatformFile(CreatePlatformFile(dir.File("old"))));
  EXPECT_EQ("", ReadFile(dir.File("old")));

  EXPECT_FALSE(ClosePlatformFile(CreatePlatformFile(dir.File("new"))));
  struct stat status;
  ASSERT_EQ(0, stat(dir.File("new").c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 0777u);

  EXPECT_EQ(kInvalidPlatformFileValue, CreatePlatformFile(dir.File("missing/new")));
}

TEST(PlatformFileTest, ReportsClosingInverted) {
  TempDir dir;
  EXPECT_FALSE(ClosePlatformFile(CreatePlatformFile(dir.File("a"))));
  EXPECT_TRUE(ClosePlatformFile(kInvalidPlatformFileValue));
}

TEST(PlatformFileTest, RemovesAFile) {
  TempDir dir;
  WriteFile(dir.File("a"), "");
  EXPECT_TRUE(RemoveFile(dir.File("a")));
  EXPECT_FALSE(RemoveFile(dir.File("a")));
}

TEST(PlatformFileTest, HandsADescriptorToAStream) {
  TempDir dir;
  FILE* stream = FdopenPlatformFileForWriting(CreatePlatformFile(dir.File("a")));
  ASSERT_NE(nullptr, stream);
  EXPECT_EQ(4u, fwrite("text", 1, 4, stream));
  EXPECT_EQ(0, fclose(stream));
  EXPECT_EQ("text", ReadFile(dir.File("a")));
  EXPECT_EQ(nullptr, FdopenPlatformFileForWriting(kInvalidPlatformFileValue));
}

TEST(FileTest, IsClosedAtFirst) {
  File file;
  uint8_t byte = 0;
  size_t number = 7;
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(file.Close());
  EXPECT_FALSE(file.Flush());
  EXPECT_FALSE(file.Seek(0));
  EXPECT_FALSE(file.CurrentPosition(&number));
  EXPECT_FALSE(file.GetSize(&number));
  EXPECT_EQ(0u, file.Write(&byte, 1));
  EXPECT_EQ(0u, file.Read(&byte, 1));
  EXPECT_EQ(0u, file.WriteAt(&byte, 1, 0));
  EXPECT_EQ(0u, file.ReadAt(&byte, 1, 0));
  EXPECT_EQ(7u, number);
}

TEST(FileTest, IsNotOpenWhenOpeningFailed) {
  TempDir dir;
  EXPECT_FALSE(File::Open(dir.File("a")).IsOpen());
  EXPECT_FALSE(File::Create(dir.File("missing/a")).IsOpen());
  EXPECT_FALSE(File::Remove(dir.File("a")));
}

TEST(FileTest, ClosesOnce) {
  TempDir dir;
  File file = File::Create(dir.File("a"));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_TRUE(file.Close());
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(file.Close());
  EXPECT_TRUE(File::Remove(dir.File("a")));
}

TEST(FileTest, IsClosedEvenWhenTheSystemReportsAFailure) {
  TempDir dir;
  const PlatformFile fd = CreatePlatformFile(dir.File("a"));
  File file(fd);
  EXPECT_FALSE(ClosePlatformFile(fd));
  EXPECT_FALSE(file.Close());
  EXPECT_FALSE(file.IsOpen());
}

TEST(FileTest, ClosesItsDescriptorAtTheEnd) {
  TempDir dir;
  const PlatformFile fd = CreatePlatformFile(dir.File("a"));
  { const File file(fd); }
  EXPECT_FALSE(IsValid(fd));
}

TEST(FileTest, MovesAndIsNeverCopied) {
  static_assert(!std::is_copy_constructible_v<File>);
  static_assert(!std::is_copy_assignable_v<File>);
  TempDir dir;
  const PlatformFile first = CreatePlatformFile(dir.File("a"));
  const PlatformFile second = CreatePlatformFile(dir.File("b"));
  File source(first);
  File constructed(std::move(source));
  EXPECT_FALSE(source.IsOpen());
  File target(second);
  target = std::move(constructed);
  EXPECT_FALSE(constructed.IsOpen());
  EXPECT_TRUE(target.IsOpen());
  EXPECT_TRUE(IsValid(first));
  EXPECT_FALSE(IsValid(second));
  File& same = target;
  target = std::move(same);
  EXPECT_TRUE(IsValid(first));
}

TEST(FileTest, ReadsAndWritesInSequence) {
  TempDir dir;
  File file = File::Create(dir.File("a"));
  EXPECT_EQ(4u, WriteText(&file, "abcd"));
  EXPECT_EQ(2u, WriteText(&file, "ef"));
  size_t position = 0;
  EXPECT_TRUE(file.CurrentPosition(&position));
  EXPECT_EQ(6u, position);
  EXPECT_FALSE(file.CurrentPosition(nullptr));
  EXPECT_TRUE(file.Seek(1));
  EXPECT_EQ("bc", ReadText(&file, 2));
  EXPECT_EQ("def", ReadText(&file, 100));
  EXPECT_EQ("", ReadText(&file, 100));
}

TEST(FileTest, ReadsWhatThereIs) {
  TempDir dir;
  WriteFile(dir.File("a"), std::string(60, 'x'));
  File file = File::Open(dir.File("a"));
  EXPECT_EQ(60u, ReadText(&file, 100).size());
}

TEST(FileTest, ReadsAndWritesAtAnOffsetWithoutMoving) {
  TempDir dir;
  File file = File::Create(dir.File("a"));
  EXPECT_EQ(6u, WriteText(&file, "abcdef"));
  EXPECT_TRUE(file.Seek(2));
  EXPECT_EQ(2u, file.WriteAt(Bytes("XY"), 2, 5));
  uint8_t bytes[4] = {};
  EXPECT_EQ(3u, file.ReadAt(bytes, 4, 4));
  EXPECT_EQ("eXY", std::string(bytes, bytes + 3));
  EXPECT_EQ(0u, file.ReadAt(bytes, 4, 7));
  size_t position = 0;
  EXPECT_TRUE(file.CurrentPosition(&position));
  EXPECT_EQ(2u, position);
  EXPECT_EQ("abcdeXY", ReadFile(dir.File("a")));
}

TEST(FileTest, RefusesOffsetsThatTheSystemDoesNotKnow) {
  TempDir dir;
  File file = File::Create(dir.File("a"));
  uint8_t byte = 0;
  EXPECT_TRUE(file.Seek(kBeyondSigned - 1) || errno == EINVAL);
  EXPECT_TRUE(file.Seek(3));
  EXPECT_FALSE(file.Seek(kBeyondSigned));
  EXPECT_FALSE(file.Seek(~size_t{0}));
  EXPECT_EQ(0u, file.WriteAt(&byte, 1, kBeyondSigned));
  EXPECT_EQ(0u, file.ReadAt(&byte, 1, kBeyondSigned));
  size_t position = 0;
  EXPECT_TRUE(file.CurrentPosition(&position));
  EXPECT_EQ(3u, position);
}

TEST(FileTest, FlushingTellsOnlyThatItIsOpen) {
  File file = File::Open("/dev/full");
  ASSERT_TRUE(file.IsOpen());
  EXPECT_TRUE(file.Flush());
}

TEST(FileTest, ReportsAFullDiskAsAShortCount) {
  File file = File::Open("/dev/full");
  EXPECT_EQ(0u, WriteText(&file, "text"));
}

TEST(FileTest, KnowsTheSizeOfARegularFileOnly) {
  TempDir dir;
  WriteFile(dir.File("a"), "12345");
  size_t size = 7;
  EXPECT_TRUE(File::Open(dir.File("a")).GetSize(&size));
  EXPECT_EQ(5u, size);
  EXPECT_FALSE(File::Open(dir.File("a")).GetSize(nullptr));
  EXPECT_FALSE(File::Open("/dev/full").GetSize(&size));
  ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
  EXPECT_FALSE(File::Open(dir.File("fifo")).GetSize(&size));
  EXPECT_FALSE(File(open(dir.path().c_str(), O_RDONLY | O_CLOEXEC)).GetSize(&size));
  EXPECT_EQ(5u, size);
}

TEST(FileTest, HasNoPositionInAPipe) {
  TempDir dir;
  ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
  File file = File::Open(dir.File("fifo"));
  ASSERT_TRUE(file.IsOpen());
  size_t position = 7;
  EXPECT_FALSE(file.CurrentPosition(&position));
  EXPECT_FALSE(file.Seek(0));
  EXPECT_EQ(7u, position);
}

TEST(FileTest, CountsWhatWasDoneBeforeAFailure) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_NONBLOCK | O_CLOEXEC));
  File reader(ends[0]);
  File writer(ends[1]);
  const size_t room = static_cast<size_t>(fcntl(ends[1], F_GETPIPE_SZ));
  EXPECT_EQ(room, WriteText(&writer, std::string(room + 1, 'x')));
  EXPECT_EQ(room, ReadText(&reader, room + 1).size());
}

// A timer whose signals interrupt system calls; the third one runs a remedy.
class InterruptingTimer {
 public:
  explicit InterruptingTimer(void (*remedy)()) {
    g_remedy = remedy;
    g_ticks = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) {
      if (++g_ticks == 3) g_remedy();
    };
    sigaction(SIGALRM, &action, &former_);
    const itimerval every_millisecond = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &every_millisecond, nullptr);
  }
  ~InterruptingTimer() {
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &former_, nullptr);
  }

 private:
  static volatile std::sig_atomic_t g_ticks;
  static void (*g_remedy)();
  struct sigaction former_;
};

volatile std::sig_atomic_t InterruptingTimer::g_ticks = 0;
void (*InterruptingTimer::g_remedy)() = nullptr;
int g_remedy_fd = -1;
char g_drained[65536];

TEST(FileTest, RepeatsAReadThatASignalInterrupts) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  File reader(ends[0]);
  File writer(ends[1]);
  g_remedy_fd = ends[1];
  InterruptingTimer timer([] { (void)!write(g_remedy_fd, "ab", 2); });
  EXPECT_EQ("ab", ReadText(&reader, 2));
}

TEST(FileTest, RepeatsAWriteThatASignalInterrupts) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  File reader(ends[0]);
  File writer(ends[1]);
  const size_t room = static_cast<size_t>(fcntl(ends[1], F_GETPIPE_SZ));
  ASSERT_EQ(room, WriteText(&writer, std::string(room, 'x')));
  g_remedy_fd = ends[0];
  InterruptingTimer timer([] { (void)!read(g_remedy_fd, g_drained, sizeof(g_drained)); });
  EXPECT_EQ(2u, WriteText(&writer, "ab"));
}

}  // namespace
}  // namespace kx_utility
