#include "files/lock_holder.h"

#include <sys/sysmacros.h>

#include <cstdio>
#include <fstream>

namespace kxrtc_host {

std::string LockHolder(const struct stat& locked) {
  std::ifstream locks("/proc/locks");
  std::string line;
  while (std::getline(locks, line)) {
    int process = 0;
    unsigned device_major = 0;
    unsigned device_minor = 0;
    unsigned long long inode = 0;
    const int found = std::sscanf(line.c_str(), "%*d: FLOCK %*s %*s %d %x:%x:%llu", &process,
                                  &device_major, &device_minor, &inode);
    if (found == 4 && process > 0 && inode == locked.st_ino &&
        makedev(device_major, device_minor) == locked.st_dev) {
      return "process " + std::to_string(process);
    }
  }
  return "another process";
}

}  // namespace kxrtc_host
