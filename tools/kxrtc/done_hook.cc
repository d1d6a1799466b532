#include "tools/kxrtc/done_hook.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

namespace kxrtc_tool {
namespace {

constexpr int kNotStarted = 127;
constexpr std::chrono::milliseconds kWait(200);
// Shorter than the time in which the program itself has to end.
constexpr std::chrono::milliseconds kTimeToEnd(1200);

// The environment of this program, with `facts` in place of variables of the same names.
std::vector<std::string> Environment(const HookFacts& facts) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    bool is_replaced = false;
    for (const auto& [name, value] : facts) {
      is_replaced = is_replaced || text.compare(0, name.size() + 1, name + "=") == 0;
    }
    if (!is_replaced) variables.push_back(text);
  }
  for (const auto& [name, value] : facts) variables.push_back(name + "=" + value);
  return variables;
}

pid_t Start(const std::string& command, const HookFacts& facts) {
  std::vector<std::string> variables = Environment(facts);
  std::vector<char*> environment;
  for (std::string& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  std::string program = "sh";
  std::string option = "-c";
  std::string text = command;
  char* const arguments[] = {program.data(), option.data(), text.data(), nullptr};

  sigset_t none;
  sigemptyset(&none);
  sigset_t ignored_here;
  sigemptyset(&ignored_here);
  sigaddset(&ignored_here, SIGPIPE);
  sigaddset(&ignored_here, SIGXFSZ);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &ignored_here);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
  pid_t process = -1;
  const int error =
      posix_spawn(&process, "/bin/sh", &actions, &attributes, arguments, environment.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  return error == 0 ? process : -1;
}

}  // namespace

int RunDoneHook(const std::string& command, const HookFacts& facts, StopSignals* signals) {
  const pid_t process = Start(command, facts);
  if (process < 0) return kNotStarted;
  std::atomic<bool> ended{false};
  std::thread waiter([&] {
    // It stays a zombie, so that its number still names it below.
    siginfo_t info = {};
    while (waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
    ended.store(true, std::memory_order_release);
    signals->Wake();
  });
  bool is_told = false;
  std::chrono::steady_clock::time_point deadline;
  while (!ended.load(std::memory_order_acquire)) {
    signals->Wait(kWait);
    if (!signals->IsStopped()) continue;
    if (!is_told) {
      deadline = std::chrono::steady_clock::now() + kTimeToEnd;
      (void)kill(-process, SIGTERM);
      is_told = true;
    } else if (std::chrono::steady_clock::now() > deadline) {
      (void)kill(-process, SIGKILL);
    }
  }
  waiter.join();
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace kxrtc_tool
