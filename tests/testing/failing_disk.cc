#include "tests/testing/failing_disk.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

namespace kx_testing {
namespace {

// The low half of a 64-bit system call argument.
constexpr uint32_t LowHalfOfArgument(uint32_t number) {
  return static_cast<uint32_t>(offsetof(seccomp_data, args)) + number * 8;
}

// For this thread, and those it starts.
bool InstallFilter(sock_filter* filter, size_t size) {
  const sock_fprog program = {static_cast<unsigned short>(size), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

bool Forbid(const FailingCall& call) {
  const bool always = call.argument < 0;
  const uint32_t argument = always ? 0 : static_cast<uint32_t>(call.argument);
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call.number), 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, LowHalfOfArgument(argument)),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, call.bits, 0, static_cast<uint8_t>(always ? 0 : 1)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<uint32_t>(call.error_number)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  return InstallFilter(filter, sizeof(filter) / sizeof(filter[0]));
}

// Runs `body` on a thread of its own, if `prepare` succeeds there.
bool RunOnOwnThread(const std::function<bool()>& prepare, const std::function<void()>& body) {
  bool prepared = false;
  std::thread([&] {
    prepared = prepare();
    if (prepared) body();
  }).join();
  return prepared;
}

// Makes lseek(fd, offset, SEEK_SET) fail unless offset is 0.
bool ForbidSeeks() {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_lseek, 0, 5),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, LowHalfOfArgument(2)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SEEK_SET, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, LowHalfOfArgument(1)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EIO),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  return InstallFilter(filter, sizeof(filter) / sizeof(filter[0]));
}

}  // namespace

ScopedFileSizeLimit::ScopedFileSizeLimit(uint64_t bytes) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  EXPECT_EQ(0, sigaction(SIGXFSZ, &ignore, &former_action_));
  EXPECT_EQ(0, getrlimit(RLIMIT_FSIZE, &former_limit_));
  rlimit limit = former_limit_;
  limit.rlim_cur = bytes;
  EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
}

ScopedFileSizeLimit::~ScopedFileSizeLimit() {
  EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &former_limit_));
  EXPECT_EQ(0, sigaction(SIGXFSZ, &former_action_, nullptr));
}

bool RunWithFailingSeeks(const std::function<void()>& body) {
  return RunOnOwnThread(ForbidSeeks, body);
}

bool RunWithFailingCall(const FailingCall& call, const std::function<void()>& body) {
  return RunOnOwnThread([&call] { return Forbid(call); }, body);
}

}  // namespace kx_testing
