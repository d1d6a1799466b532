// Files and folders that exist under a temporary name until they are complete. The name tells on
// which machine it was made, and its maker holds a lock as long as it lives. So a later run knows
// what a killed program left behind.
// Threads: any.
#ifndef FILES_TEMPORARY_ENTRY_H_
#define FILES_TEMPORARY_ENTRY_H_

#include <functional>
#include <string>

namespace kxrtc_host {

// All temporary entries of one output are in `folder` (empty or ending in a separator) and have the
// name `prefix`, mark of the machine, "-", random part, `suffix`.
struct TemporaryEntry {
  // So much of the output's name is used; it leaves room for the rest within NAME_MAX.
  static constexpr size_t kMaxNamePart = 200;

  std::string folder;
  std::string prefix;
  std::string suffix;

  // A path of this kind, with a new random part.
  std::string NewPath() const;

  // True when the last name of an entry, from any output and machine, may be `name`: something,
  // then `end_of_prefix`, and what NewPath() adds to it.
  static bool IsNameOf(const std::string& name, const std::string& end_of_prefix);

  // Calls `remove` for each entry of this kind that a program left that has ended without removing
  // it: made by this user on this machine, and nobody holds its lock. Where the file system has no
  // locks, there are none.
  void RemoveAbandoned(const std::function<void(const std::string& path)>& remove) const;
};

// Locks a temporary entry that was just made, as long as `descriptor` or a copy of it is open.
// False: another run has taken it for abandoned and removes it. Then make another one.
[[nodiscard]] bool LockTemporaryEntry(int descriptor);

}  // namespace kxrtc_host

#endif  // FILES_TEMPORARY_ENTRY_H_
