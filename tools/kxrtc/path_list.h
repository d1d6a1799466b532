// A list of paths in a file or on standard input, as find, git and kxrtc list write it.
// Threads: an object belongs to one thread at a time.
#ifndef TOOLS_KXRTC_PATH_LIST_H_
#define TOOLS_KXRTC_PATH_LIST_H_

#include <cstdio>
#include <string>

namespace kxrtc_tool {

class PathList {
 public:
  enum class End { kLine, kZeroByte };  // What each path ends with.

  PathList() = default;
  ~PathList();
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;

  // Opens the file `name`, "-" for standard input. False: see error().
  [[nodiscard]] bool Open(const std::string& name, End end);

  // The next path that is not empty; the last one needs no end. False: there is no more, or error()
  // is not empty.
  [[nodiscard]] bool Next(std::string* path);

  const std::string& error() const { return error_; }

 private:
  std::string name_;
  std::FILE* file_ = nullptr;
  char end_ = '\n';
  std::string error_;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_PATH_LIST_H_
