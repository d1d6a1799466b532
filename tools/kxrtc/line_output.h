// Standard output for work that must not wait for a reader: what the reader does not take is kept.
// Threads: an object belongs to one thread at a time. Nothing else prints while it lives.
#ifndef TOOLS_KXRTC_LINE_OUTPUT_H_
#define TOOLS_KXRTC_LINE_OUTPUT_H_

#include <chrono>
#include <cstddef>
#include <string>

namespace kxrtc_tool {

class LineOutput {
 public:
  // More is dropped until the reader takes some of it.
  static constexpr size_t kMaxWaiting = 1 << 20;

  // Prints whole lines, now or with a later call. Does not wait.
  void Print(const std::string& lines);

  // Waits until everything is printed, but not longer than `at_most`.
  void Drain(std::chrono::milliseconds at_most);

 private:
  bool WriteSome(int wait_ms);  // False: there is still no room.

  std::string waiting_;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_LINE_OUTPUT_H_
