#include "tests/testing/copied_bytes.h"

#include <dlfcn.h>

#include <atomic>

namespace {

using Copy = void*(void*, const void*, size_t);

std::atomic<size_t> g_copied{0};

void* Count(const char* name, void* to, const void* from, size_t size) {
  g_copied += size;
  return reinterpret_cast<Copy*>(dlsym(RTLD_NEXT, name))(to, from, size);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void* memcpy(void* to, const void* from,
                                                               size_t size) {
  return Count("memcpy", to, from, size);
}

extern "C" __attribute__((visibility("default"))) void* memmove(void* to, const void* from,
                                                                size_t size) {
  return Count("memmove", to, from, size);
}

namespace kx_testing {

size_t CountCopiedBytes(const std::function<void()>& body) {
  const size_t before = g_copied;
  body();
  return g_copied - before;
}

}  // namespace kx_testing
