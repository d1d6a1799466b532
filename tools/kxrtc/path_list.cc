#include "tools/kxrtc/path_list.h"

#include <cerrno>
#include <climits>
#include <cstring>

namespace kxrtc_tool {

PathList::~PathList() {
  if (file_ != nullptr && file_ != stdin) (void)std::fclose(file_);
}

bool PathList::Open(const std::string& name, End end) {
  name_ = name == "-" ? "standard input" : name;
  end_ = end == End::kLine ? '\n' : '\0';
  file_ = name == "-" ? stdin : std::fopen(name.c_str(), "re");
  if (file_ == nullptr) error_ = name_ + ": " + std::strerror(errno);
  return file_ != nullptr;
}

bool PathList::Next(std::string* path) {
  path->clear();
  for (int byte; (byte = std::getc(file_)) != EOF;) {
    if (byte == end_ && !path->empty()) return true;
    if (byte == end_) continue;
    if (byte == '\0') {
      error_ = name_ + " has a zero byte in a line; its paths end with zero bytes, use --null";
      return false;
    }
    path->push_back(static_cast<char>(byte));
    if (path->size() > PATH_MAX) {
      error_ = name_ + " has an entry that is longer than a path can be: " + path->substr(0, 60) +
               "..." + (end_ == '\0' ? "; do its paths end with new lines?" : "");
      return false;
    }
  }
  if (std::ferror(file_) != 0) {
    error_ = name_ + " cannot be read: " + std::strerror(errno);
    return false;
  }
  return !path->empty();
}

}  // namespace kxrtc_tool
