#include "host/conference/local_input.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;

// Interrupts from the `limit`-th question on.
struct Interrupter {
  std::atomic<int> asked{0};
  int limit = 1 << 30;

  AVIOInterruptCB callback() {
    return {[](void* self) {
              auto* const own = static_cast<Interrupter*>(self);
              return ++own->asked >= own->limit ? 1 : 0;
            },
            this};
  }
};

std::string ReadAll(AVIOContext* io, int* end) {
  std::string all;
  unsigned char buffer[1000];
  int got = 0;
  while ((got = avio_read(io, buffer, sizeof(buffer))) > 0) {
    all.append(reinterpret_cast<char*>(buffer), static_cast<size_t>(got));
  }
  *end = got;
  return all;
}

TEST(LocalInputTest, ReadsAndSeeksInAFile) {
  const TempDir dir;
  std::string content;
  for (int i = 0; i < 40000; ++i) content += std::to_string(i);
  kx_testing::WriteFile(dir.File("a"), content);
  Interrupter never;
  LocalInput input;
  std::string error;
  ASSERT_TRUE(input.Open(dir.File("a"), false, never.callback(), &error)) << error;
  int end = 0;
  EXPECT_EQ(avio_size(input.io()), static_cast<int64_t>(content.size()));
  EXPECT_EQ(ReadAll(input.io(), &end), content);
  EXPECT_EQ(end, AVERROR_EOF);
  EXPECT_EQ(avio_seek(input.io(), 70000, SEEK_SET), 70000);
  EXPECT_EQ(ReadAll(input.io(), &end), content.substr(70000));
}

TEST(LocalInputTest, ReadsAPipeToItsEndWhenItIsLive) {
  const TempDir dir;
  const std::string path = dir.File("fifo");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  Interrupter never;
  LocalInput input;
  std::string error;
  EXPECT_FALSE(input.Open(path, false, never.callback(), &error));
  EXPECT_EQ(error, "is a pipe or a device; with \"live\": true it is recorded as it arrives");
  ASSERT_TRUE(input.Open(path, true, never.callback(), &error)) << error;
  std::thread writer([&] {
    const int pipe = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(write(pipe, "piece ", 6), 6);
    close(pipe);
  });
  int end = 0;
  EXPECT_EQ(ReadAll(input.io(), &end), "piece piece piece ");
  EXPECT_EQ(end, AVERROR_EOF);
  writer.join();
}

TEST(LocalInputTest, AnInterruptionEndsTheWaitForAWriter) {
  const TempDir dir;
  const std::string path = dir.File("fifo");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  for (const bool with_silent_writer : {false, true}) {
    Interrupter interrupter;
    interrupter.limit = 3;
    LocalInput input;
    std::string error;
    ASSERT_TRUE(input.Open(path, true, interrupter.callback(), &error)) << error;
    const int writer = with_silent_writer ? open(path.c_str(), O_WRONLY | O_CLOEXEC) : -1;
    int end = 0;
    EXPECT_EQ(ReadAll(input.io(), &end), "");
    EXPECT_EQ(end, AVERROR_EXIT);
    if (writer >= 0) close(writer);
  }
}

TEST(LocalInputTest, TellsWhatCannotBeOpened) {
  const TempDir dir;
  Interrupter never;
  LocalInput input;
  std::string error;
  EXPECT_FALSE(input.Open(dir.File("none"), false, never.callback(), &error));
  EXPECT_EQ(error, "cannot be opened: No such file or directory");
  EXPECT_FALSE(input.Open(dir.path(), true, never.callback(), &error));
  EXPECT_EQ(error, "cannot be opened: Is a directory");
  EXPECT_EQ(input.io(), nullptr);
}

}  // namespace
}  // namespace kxrtc_host
