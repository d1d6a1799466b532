#include "tools/kxrtc/stop_signals.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <ctime>

#include "tools/kxrtc/standard_output.h"

namespace kxrtc_tool {
namespace {

constexpr int kStopSignals[] = {SIGHUP,  SIGINT,    SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2,  SIGALRM,
                                SIGPROF, SIGVTALRM, SIGXCPU, SIGPOLL, SIGPWR,  SIGSTKFLT};

// A handler can use only globals.
std::atomic<int64_t> g_stopping_since_ms{0};
struct sigaction g_former_actions[NSIG];

sigset_t MakeStopSet() {
  sigset_t set;
  sigemptyset(&set);
  const auto add_unless_used = [&set](int signal_number) {
    struct sigaction action = {};
    if (sigaction(signal_number, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
      sigaddset(&set, signal_number);
    }
  };
  for (int signal_number : kStopSignals) add_unless_used(signal_number);
  for (int signal_number = SIGRTMIN; signal_number <= SIGRTMAX; ++signal_number) {
    add_unless_used(signal_number);
  }
  return set;
}

template <typename Function>
void ForEachStopSignal(const Function& function) {
  for (int signal_number = 1; signal_number < NSIG; ++signal_number) {
    if (sigismember(&StopSet(), signal_number) == 1) function(signal_number);
  }
}

int64_t NowMs() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void EndUnlessJustAsked(int signal_number) {
  if (NowMs() - g_stopping_since_ms.load() < StopSignals::kTimeToStop.count()) return;
  sigaction(signal_number, &g_former_actions[signal_number], nullptr);
  raise(signal_number);
}

}  // namespace

const sigset_t& StopSet() {
  static const sigset_t set = MakeStopSet();
  return set;
}

StopSignals::StopSignals() {
  blocked_ = pthread_sigmask(SIG_BLOCK, &StopSet(), nullptr) == 0;
  signal_fd_ = signalfd(-1, &StopSet(), SFD_CLOEXEC | SFD_NONBLOCK);
  wake_fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

StopSignals::~StopSignals() {
  // A signal after the end of the work has no effect.
  signalfd_siginfo late;
  while (blocked_ && read(signal_fd_, &late, sizeof(late)) == sizeof(late)) {
  }
  if (blocked_) {
    Unblock();
  } else {
    ForEachStopSignal([](int number) { sigaction(number, &g_former_actions[number], nullptr); });
  }
  if (signal_fd_ >= 0) close(signal_fd_);
  if (wake_fd_ >= 0) close(wake_fd_);
}

void StopSignals::Unblock() {
  pthread_sigmask(SIG_UNBLOCK, &StopSet(), nullptr);
  blocked_ = false;
}

void StopSignals::Obey(int signal_number) {
  signal_number_ = signal_number;
  if (!blocked_) return;
  g_stopping_since_ms.store(NowMs());
  struct sigaction action = {};
  action.sa_handler = EndUnlessJustAsked;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  ForEachStopSignal(
      [&action](int number) { sigaction(number, &action, &g_former_actions[number]); });
  Unblock();
}

void StopSignals::Wake() {
  const uint64_t one = 1;
  // A full counter wakes the reader too.
  [[maybe_unused]] const ssize_t written = write(wake_fd_, &one, sizeof(one));
}

void StopSignals::Wait(std::chrono::milliseconds at_most) {
  if (signal_number_ == 0 && IsReaderOfStandardOutputGone()) return Obey(SIGPIPE);
  pollfd fds[] = {{signal_fd_, POLLIN, 0}, {wake_fd_, POLLIN, 0}};
  if (poll(fds, 2, static_cast<int>(at_most.count())) <= 0) return;
  uint64_t wakes = 0;
  [[maybe_unused]] const ssize_t cleared = read(wake_fd_, &wakes, sizeof(wakes));
  signalfd_siginfo info;
  if (signal_number_ == 0 && read(signal_fd_, &info, sizeof(info)) == sizeof(info)) {
    Obey(static_cast<int>(info.ssi_signo));
  }
}

bool StopSignals::IsStopped() {
  if (signal_number_ == 0) Wait(std::chrono::milliseconds(0));
  return signal_number_ != 0;
}

}  // namespace kxrtc_tool
