#include "tests/testing/process_resources.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace kx_testing {
namespace {

size_t CountEntries(const char* folder) {
  using Iterator = std::filesystem::directory_iterator;
  return static_cast<size_t>(std::distance(Iterator(folder), Iterator()));
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

}  // namespace kx_testing
