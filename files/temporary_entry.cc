#include "files/temporary_entry.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <vector>

namespace kxrtc_host {
namespace {

constexpr size_t kHexDigits = 8;

std::string Hex(uint32_t value) {
  char text[kHexDigits + 1];
  std::snprintf(text, sizeof(text), "%08x", value);
  return text;
}

// Differs between machines that share a folder over a network, where locks may not reach.
std::string MarkOfThisMachine() {
  std::string identity;
  std::ifstream("/etc/machine-id") >> identity;
  utsname system = {};
  if (uname(&system) == 0) identity += system.nodename;
  uint32_t hash = 2166136261;  // FNV-1a.
  for (const char c : identity) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619;
  return Hex(hash);
}

bool IsHex(const std::string& text) {
  return text.size() == kHexDigits && text.find_first_not_of("0123456789abcdef") == text.npos;
}

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(
      opendir(folder.empty() ? "." : folder.c_str()), closedir);
  if (directory == nullptr) return names;
  while (const dirent* entry = readdir(directory.get())) names.emplace_back(entry->d_name);
  return names;
}

bool IsLocked(int descriptor) { return flock(descriptor, LOCK_EX | LOCK_NB) != 0; }

bool IsFileOrFolderOfUser(int descriptor) {
  struct stat entry = {};
  return fstat(descriptor, &entry) == 0 && entry.st_uid == geteuid() &&
         (S_ISREG(entry.st_mode) || S_ISDIR(entry.st_mode));
}

}  // namespace

std::string TemporaryEntry::NewPath() const {
  std::random_device random;
  return folder + prefix + MarkOfThisMachine() + "-" + Hex(random()) + suffix;
}

bool TemporaryEntry::IsNameOf(const std::string& name, const std::string& end_of_prefix) {
  constexpr size_t kAdded = 2 * kHexDigits + 1;
  const size_t end = end_of_prefix.size() + kAdded;
  if (name.size() < end || name[name.size() - kHexDigits - 1] != '-') return false;
  const size_t mark = name.size() - kAdded;
  return name.compare(name.size() - end, end_of_prefix.size(), end_of_prefix) == 0 &&
         IsHex(name.substr(mark, kHexDigits)) && IsHex(name.substr(mark + kHexDigits + 1));
}

void TemporaryEntry::RemoveAbandoned(
    const std::function<void(const std::string& path)>& remove) const {
  const std::string begin = prefix + MarkOfThisMachine() + "-";
  for (const std::string& name : NamesIn(folder)) {
    if (name.size() != begin.size() + kHexDigits + suffix.size() ||
        name.compare(0, begin.size(), begin) != 0 ||
        name.compare(begin.size() + kHexDigits, suffix.size(), suffix) != 0 ||
        !IsHex(name.substr(begin.size(), kHexDigits))) {
      continue;
    }
    const std::string path = folder + name;
    const int descriptor =
        open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) continue;
    if (IsFileOrFolderOfUser(descriptor) && !IsLocked(descriptor)) remove(path);
    (void)close(descriptor);
  }
}

bool LockTemporaryEntry(int descriptor) {
  if (IsLocked(descriptor) && errno == EWOULDBLOCK) return false;
  struct stat entry = {};
  return fstat(descriptor, &entry) != 0 || entry.st_nlink > 0;
}

}  // namespace kxrtc_host
