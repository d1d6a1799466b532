// Preloaded into a process, this library makes a part of the system answer no more:
//   KX_STUCK_WHILE  while this file exists, opening and reading files whose names end in ".stuck"
//                   waits without end, as on a network disk that does not answer
// The name "stuck.invalid" is never resolved. Signals do not end the waiting.
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void WaitWithoutEnd() {
  for (;;) pause();
}

void WaitIfStuck(const std::string& path) {
  const std::string end = ".stuck";
  const char* const flag = std::getenv("KX_STUCK_WHILE");
  if (path.size() >= end.size() && path.compare(path.size() - end.size(), end.size(), end) == 0 &&
      flag != nullptr && access(flag, F_OK) == 0) {
    WaitWithoutEnd();
  }
}

std::string PathOf(int descriptor) {
  char path[4096];
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t size = readlink(link.c_str(), path, sizeof(path));
  return size > 0 ? std::string(path, static_cast<size_t>(size)) : "";
}

}  // namespace

#define KX_VISIBLE extern "C" __attribute__((visibility("default")))

KX_VISIBLE int open(const char* path, int flags, ...) {
  static auto* const real = Real<int(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);
  va_end(arguments);
  WaitIfStuck(path);
  return real(path, flags, mode);
}

KX_VISIBLE ssize_t read(int descriptor, void* buffer, size_t size) {
  static auto* const real = Real<ssize_t(int, void*, size_t)>("read");
  WaitIfStuck(PathOf(descriptor));
  return real(descriptor, buffer, size);
}

KX_VISIBLE int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** found) {
  static auto* const real =
      Real<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
  if (node != nullptr && std::strcmp(node, "stuck.invalid") == 0) WaitWithoutEnd();
  return real(node, service, hints, found);
}
