// A file of lines to which several processes append, also on several machines. It has whole lines
// only, whatever happens to those who write it.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_SHARED_LINES_H_
#define FILES_SHARED_LINES_H_

#include <functional>
#include <string>

#include "files/is_wanted.h"

namespace kxrtc_host {

class SharedLines {
 public:
  // Longer lines are passed over: nobody here writes them.
  static constexpr size_t kMaxLineBytes = 1024 * 1024;

  SharedLines() = default;
  ~SharedLines() { Close(); }
  SharedLines(const SharedLines&) = delete;
  SharedLines& operator=(const SharedLines&) = delete;

  enum class Access {
    kAppend,    // Makes the file where it is missing.
    kReadOnly,  // A file that is missing has no lines.
  };

  // False: see error_text().
  [[nodiscard]] bool Open(const std::string& path, Access access);

  // Waits until nobody else reads or writes under the lock. What the path names by then is the
  // file: it may have been moved away. Where the file system has no locks, there is none. False: it
  // is no longer wanted, or the file cannot be opened again.
  [[nodiscard]] bool Lock(const IsWanted& is_wanted);
  void Unlock();

  // Calls `on_line` for each line, without its end. What is behind the last end of a line is none.
  // False: reading failed.
  [[nodiscard]] bool Read(const std::function<void(const std::string& line)>& on_line);

  // Appends `line` and an end of line, or nothing. Call it under the lock. A part of a line that
  // somebody left at the end is removed.
  [[nodiscard]] bool Append(const std::string& line);

  const std::string& error_text() const { return error_text_; }

 private:
  bool Fail(int error_number);
  bool Reopen();
  bool EndAtALine();
  void Close();

  std::string path_;
  Access access_ = Access::kAppend;
  int descriptor_ = -1;
  bool is_locked_ = false;
  std::string error_text_;
};

}  // namespace kxrtc_host

#endif  // FILES_SHARED_LINES_H_
