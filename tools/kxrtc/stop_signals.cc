#include "tools/kxrtc/stop_signals.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>

namespace kxrtc_tool {
namespace {

sigset_t StopSet() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

}  // namespace

StopSignals::StopSignals() {
  const sigset_t set = StopSet();
  blocked_ = pthread_sigmask(SIG_BLOCK, &set, nullptr) == 0;
  signal_fd_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  wake_fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

StopSignals::~StopSignals() {
  // A signal after the end of the work has no effect.
  signalfd_siginfo late;
  while (blocked_ && read(signal_fd_, &late, sizeof(late)) == sizeof(late)) {
  }
  RestoreMask();
  if (signal_fd_ >= 0) close(signal_fd_);
  if (wake_fd_ >= 0) close(wake_fd_);
}

void StopSignals::RestoreMask() {
  if (!blocked_) return;
  const sigset_t set = StopSet();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  blocked_ = false;
}

void StopSignals::Wake() {
  const uint64_t one = 1;
  // A full counter wakes the reader too.
  [[maybe_unused]] const ssize_t written = write(wake_fd_, &one, sizeof(one));
}

void StopSignals::Wait(std::chrono::milliseconds at_most) {
  pollfd fds[] = {{signal_fd_, POLLIN, 0}, {wake_fd_, POLLIN, 0}};
  if (poll(fds, 2, static_cast<int>(at_most.count())) <= 0) return;
  uint64_t wakes = 0;
  [[maybe_unused]] const ssize_t cleared = read(wake_fd_, &wakes, sizeof(wakes));
  signalfd_siginfo info;
  if (signal_number_ == 0 && read(signal_fd_, &info, sizeof(info)) == sizeof(info)) {
    signal_number_ = static_cast<int>(info.ssi_signo);
    RestoreMask();
  }
}

bool StopSignals::IsStopped() {
  if (signal_number_ == 0) Wait(std::chrono::milliseconds(0));
  return signal_number_ != 0;
}

ExitStatus StopSignals::exit_status() const {
  return signal_number_ == SIGTERM ? kExitTerminated : kExitInterrupted;
}

}  // namespace kxrtc_tool
