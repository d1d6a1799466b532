#include "tools/kxrtc/log_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

#include "rtc_transcoder/api/rtc_transcoder.h"
#include "tools/kxrtc/stop_signals.h"

namespace kxrtc_tool {
namespace {

// Where the handler writes the signal. A handler can use only globals.
std::atomic<int> g_signal_pipe{-1};

void TellSignal(int signal_number) {
  const int saved = errno;
  const auto byte = static_cast<unsigned char>(signal_number);
  [[maybe_unused]] const ssize_t written =
      write(g_signal_pipe.load(std::memory_order_acquire), &byte, 1);
  errno = saved;
}

void SetHandlers(void (*handler)(int)) {
  for (int signal_number = 1; signal_number < NSIG; ++signal_number) {
    if (sigismember(&StopSet(), signal_number) != 1) continue;
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal_number, &action, nullptr);
  }
}

}  // namespace

LogFile::~LogFile() { (void)Close(); }

bool LogFile::Open(const std::string& path, kx_utility::LoggingSeverity min_severity) {
  (void)Close();
  path_ = path;
  // Opening a FIFO would wait for a reader.
  std::error_code unknown;
  if (std::filesystem::is_fifo(path, unknown)) return false;
  // The threads that start here leave the signals to the main thread.
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &StopSet(), &before);
  sink_.emplace();
  open_ = sink_->Initialize(path.c_str(), min_severity);
  if (open_ && pipe2(pipe_, O_CLOEXEC) == 0) {
    watcher_ = std::thread([this] { WaitForSignal(); });
    g_signal_pipe.store(pipe_[1], std::memory_order_release);
    SetHandlers(TellSignal);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (open_) SetLogSink(&*sink_);
  return open_;
}

void LogFile::WaitForSignal() {
  unsigned char signal_number = 0;
  ssize_t count = 0;
  do {
    count = read(pipe_[0], &signal_number, 1);
  } while (count < 0 && errno == EINTR);
  if (count != 1 || signal_number == 0) return;  // Close() ends this thread.
  SetLogSink(nullptr);
  sink_->Finalize();
  SetHandlers(SIG_DFL);
  kill(getpid(), signal_number);
}

bool LogFile::Close() {
  if (!open_) return true;
  open_ = false;
  if (watcher_.joinable()) {
    SetHandlers(SIG_DFL);
    const unsigned char nothing = 0;
    [[maybe_unused]] const ssize_t written = write(pipe_[1], &nothing, 1);
    watcher_.join();
    g_signal_pipe.store(-1, std::memory_order_release);
    close(pipe_[0]);
    close(pipe_[1]);
  }
  SetLogSink(nullptr);
  sink_->Finalize();
  return !sink_->has_lost_text();
}

}  // namespace kxrtc_tool
