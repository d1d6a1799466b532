#include "files/link_target.h"

#include <filesystem>
#include <system_error>

namespace kxrtc_host {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxLinks = 40;  // The limit of the system as well.

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

}  // namespace

std::string LinkTarget(const std::string& path) {
  fs::path target = path;
  for (int links = 0; links < kMaxLinks; ++links) {
    std::error_code no_link;
    const fs::path next = fs::read_symlink(target, no_link);
    if (no_link) break;
    target = target.parent_path() / next;  // Only `next` if it is absolute.
  }
  return target.string();
}

bool LeadToSameFile(const std::string& one, const std::string& other) {
  std::error_code missing;
  if (fs::equivalent(one, other, missing)) return true;
  const fs::path one_target = LinkTarget(one);
  const fs::path other_target = LinkTarget(other);
  return one_target.filename() == other_target.filename() &&
         fs::equivalent(FolderOf(one_target), FolderOf(other_target), missing);
}

}  // namespace kxrtc_host
