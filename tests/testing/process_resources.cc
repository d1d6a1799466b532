#include "tests/testing/process_resources.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kx_testing {
namespace {

size_t CountEntries(const char* folder) {
  using Iterator = std::filesystem::directory_iterator;
  return static_cast<size_t>(std::distance(Iterator(folder), Iterator()));
}

// A counter of what the process has read and written so far.
size_t Counted(const char* counter) {
  std::ifstream file("/proc/self/io");
  std::string name;
  size_t count = 0;
  while (file >> name >> count && name != counter) {
  }
  return count;
}

// Those of the counting itself are among them.
size_t CountedDuring(const char* counter, const std::function<void()>& body) {
  (void)Counted(counter);  // A sanitizer's runtime writes to a pipe at the first look.
  const size_t before = Counted(counter);
  body();
  return Counted(counter) - before;
}

}  // namespace

// The descriptor of the listing itself is among them, each time.
size_t CountOpenFiles() { return CountEntries("/proc/self/fd"); }

size_t CountThreads() { return CountEntries("/proc/self/task"); }

size_t ResidentBytes() {
  size_t total_pages = 0, resident_pages = 0;
  std::ifstream("/proc/self/statm") >> total_pages >> resident_pages;
  return resident_pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

size_t CountReadCalls(const std::function<void()>& body) { return CountedDuring("syscr:", body); }

size_t CountReadBytes(const std::function<void()>& body) { return CountedDuring("rchar:", body); }

size_t CountWriteCalls(const std::function<void()>& body) { return CountedDuring("syscw:", body); }

}  // namespace kx_testing
