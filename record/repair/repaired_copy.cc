#include "record/repair/repaired_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "files/link_target.h"
#include "files/new_folder.h"
#include "files/temporary_entry.h"

namespace kxrtc_host {
namespace {

constexpr mode_t kFolderMode = 0777;  // The umask of the user applies.

TemporaryEntry CopiesFor(const std::string& output) {
  const std::string target = LinkTarget(output);
  const size_t name_begin = target.rfind('/') + 1;  // 0 without a folder.
  return {target.substr(0, name_begin),
          "." + target.substr(name_begin, TemporaryEntry::kMaxNamePart) + ".repaired" +
              NewFolder::kTemporaryMark,
          ""};
}

void RemoveAll(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace

RepairedCopy::~RepairedCopy() {
  if (!parent_.empty()) RemoveAll(parent_);
  if (descriptor_ >= 0) ::close(descriptor_);
}

RepairResult RepairedCopy::Make(const std::string& source, const std::string& output,
                                const IsWanted& is_wanted) {
  const std::string parent = CopiesFor(output).NewPath();
  if (::mkdir(parent.c_str(), kFolderMode) != 0) {
    RepairResult result;
    result.target_refused = true;
    result.error = parent + ": " + std::strerror(errno);
    return result;
  }
  parent_ = parent;
  // Without a lock nobody takes it for abandoned.
  descriptor_ = ::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor_ >= 0) (void)LockTemporaryEntry(descriptor_);
  folder_ = parent + "/record/";
  RepairOptions options;
  options.sync = false;
  options.is_wanted = is_wanted;
  return RepairRecord(source, folder_, options);
}

void RepairedCopy::RemoveAbandoned(const std::string& output) {
  CopiesFor(output).RemoveAbandoned(RemoveAll);
}

}  // namespace kxrtc_host
