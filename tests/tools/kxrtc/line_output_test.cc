#include "tools/kxrtc/line_output.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

namespace kxrtc_tool {
namespace {

constexpr std::chrono::milliseconds kMoment(20);
constexpr std::chrono::milliseconds kLong(20000);

// Standard output is a pipe while it lives, whose reader the test is.
class PipedOutput {
 public:
  PipedOutput() {
    std::fflush(stdout);
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    capacity_ = static_cast<size_t>(fcntl(ends_[1], F_SETPIPE_SZ, 4096));
    fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    former_ = dup(STDOUT_FILENO);
    dup2(ends_[1], STDOUT_FILENO);
    close(ends_[1]);
  }
  ~PipedOutput() {
    CloseReader();
    dup2(former_, STDOUT_FILENO);
    close(former_);
    clearerr(stdout);
  }
  PipedOutput(const PipedOutput&) = delete;
  PipedOutput& operator=(const PipedOutput&) = delete;

  std::string Read() {
    std::string all;
    char buffer[1000];
    ssize_t got = 0;
    while ((got = read(ends_[0], buffer, sizeof(buffer))) > 0) {
      all.append(buffer, static_cast<size_t>(got));
    }
    return all;
  }

  void CloseReader() {
    if (ends_[0] >= 0) close(ends_[0]);
    ends_[0] = -1;
  }

  size_t capacity() const { return capacity_; }

 private:
  int ends_[2] = {-1, -1};
  int former_ = -1;
  size_t capacity_ = 0;
};

TEST(LineOutputTest, PrintsAtOnceWhatFits) {
  PipedOutput piped;
  LineOutput output;
  output.Print("one\n");
  EXPECT_EQ(piped.Read(), "one\n");
  output.Drain(kLong);
  EXPECT_EQ(piped.Read(), "");
}

TEST(LineOutputTest, KeepsForASlowReaderWhatDoesNotFit) {
  PipedOutput piped;
  LineOutput output;
  std::string printed;
  std::string read;
  for (int i = 0; i < 5000; ++i) {
    const std::string line = "line " + std::to_string(i) + "\n";
    printed += line;
    output.Print(line);
    if (i % 1000 == 0) read += piped.Read();
  }
  EXPECT_LT(read.size(), printed.size());
  while (read.size() < printed.size()) {
    output.Drain(kMoment);
    const std::string more = piped.Read();
    ASSERT_NE(more, "");
    read += more;
  }
  EXPECT_EQ(read, printed);
}

TEST(LineOutputTest, DropsWhatAStuckReaderWillNotTake) {
  PipedOutput piped;
  const std::string line(1000, 'x');
  {
    LineOutput output;
    for (size_t i = 0; i < 2 * LineOutput::kMaxWaiting / line.size(); ++i) output.Print(line);
    output.Drain(kMoment);
  }
  const size_t taken = piped.Read().size();
  EXPECT_GT(taken, 0u);
  EXPECT_LE(taken, piped.capacity());
}

TEST(LineOutputTest, LeavesTheFailureOfAClosedPipeInTheStream) {
  const auto former = signal(SIGPIPE, SIG_IGN);
  PipedOutput piped;
  LineOutput output;
  output.Print("one\n");
  EXPECT_EQ(std::ferror(stdout), 0);
  piped.CloseReader();
  output.Print("two\n");
  output.Drain(kLong);
  EXPECT_NE(std::ferror(stdout), 0);
  signal(SIGPIPE, former);
}

}  // namespace
}  // namespace kxrtc_tool
