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

// Makes lseek(fd, offset, SEEK_SET) fail for this thread, and those it starts, unless offset is 0.
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
  const sock_fprog program = {sizeof(filter) / sizeof(filter[0]), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
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
  bool forbidden = false;
  std::thread([&] {
    forbidden = ForbidSeeks();
    if (forbidden) body();
  }).join();
  return forbidden;
}

}  // namespace kx_testing
